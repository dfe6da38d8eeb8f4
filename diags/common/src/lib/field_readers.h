// SPDX-License-Identifier: MIT
// Fields as data: a table says which text goes into which member of a record and how it is read.
// One loop walks it, for the elements of an XML file and for the fields of a text line.
#ifndef DIAGS_COMMON_SRC_LIB_FIELD_READERS_H
#define DIAGS_COMMON_SRC_LIB_FIELD_READERS_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "diag_util.h"

#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace diag {

// Puts the text into the record; false when there is no memory for it.
template <typename Record>
using FieldReader = bool (*)(Record &record, const char *text);

template <typename Record>
struct Field {
    const char *tag;  // name of the XML element; not used by text lines
    FieldReader<Record> read;
    const char *out_of_memory = "";  // message for a reader that allocates
};

// Reads one field; 0, or DIAG_E_NOMEM after the field's message, logged for `function`.
template <typename Record>
uint32_t read_field(const char *function, const Field<Record> &field, Record &record,
                    const char *text) {
    if (field.read(record, text)) {
        return 0;
    }
    DIAG_ERROR_IN(function, "%s", field.out_of_memory);
    return DIAG_E_NOMEM;
}

// The field of that tag, or null: names that nobody knows are passed over.
template <typename Record, size_t kCount>
const Field<Record> *find_field(const Field<Record> (&fields)[kCount], const char *tag) {
    for (const Field<Record> &field : fields) {
        if (std::strcmp(field.tag, tag) == 0) {
            return &field;
        }
    }
    return nullptr;
}

template <auto kMember, typename Record>
bool read_hex(Record &record, const char *text) {
    record.*kMember = parse_hex<uint32_t>(text);
    return true;
}

// strtol() in base 10, with a short cut for a few plain digits, which nearly all numbers are.
inline long decimal(const char *text) {
    constexpr int kFewDigits = 9;
    while (*text == ' ') {
        text++;
    }
    long number = 0;
    int digits = 0;
    for (; digits < kFewDigits && text[digits] >= '0' && text[digits] <= '9'; digits++) {
        number = number * 10 + (text[digits] - '0');
    }
    return digits > 0 && digits < kFewDigits ? number : std::strtol(text, nullptr, 10);
}

// Base 0 takes 0x and octal prefixes.
template <auto kMember, int kBase, typename Record>
bool read_number(Record &record, const char *text) {
    using Number = std::remove_reference_t<decltype(record.*kMember)>;
    if constexpr (kBase == 10) {
        record.*kMember = static_cast<Number>(decimal(text));
    } else {
        record.*kMember = static_cast<Number>(std::strtol(text, nullptr, kBase));
    }
    return true;
}

template <auto kMember, typename Record>
bool read_text(Record &record, const char *text) {
    return replace_text(&(record.*kMember), text);
}

}  // namespace diag

#endif
