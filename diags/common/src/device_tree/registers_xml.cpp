// SPDX-License-Identifier: MIT
// Registers, bit fields and named values from the elements of an XML description.
#include <cstdlib>
#include <cstring>
#include <utility>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/field_readers.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr NewRegisterMessages kNewRegister = {"Could not allocate Register list\n",
                                              "Could not allocate Next Register List\n",
                                              "Could not allocate Next Register\n"};

struct AccessWord {
    const char *word;
    int32_t access;
};

// In the order in which they are looked for, anywhere in the text.
constexpr AccessWord kAccessWords[] = {{"RO", DIAG_ACCESS_RO},
                                       {"RW", DIAG_ACCESS_RW},
                                       {"RC", DIAG_ACCESS_RC},
                                       {"WO", DIAG_ACCESS_WO},
                                       {"RMW", DIAG_ACCESS_RMW}};

template <typename Record>
bool read_access(Record &record, const char *text) {
    record.access = DIAG_ACCESS_OTHER;
    for (const AccessWord &known : kAccessWords) {
        if (std::strstr(text, known.word) != nullptr) {
            record.access = known.access;
            break;
        }
    }
    return true;
}

// "7:4" or "4:7", or one number. False when there is no memory to take the text apart.
bool read_range(bit_def &bit, const char *text) {
    const Owned<char> copy(copy_text(text));
    if (copy == nullptr) {
        return false;
    }
    char *separator = std::strchr(copy.get(), ':');
    if (separator != nullptr) {
        *separator++ = '\0';
    }
    read_number<&bit_def::start, 10>(bit, copy.get());
    bit.end = bit.start;
    if (separator != nullptr) {
        read_number<&bit_def::end, 10>(bit, separator);
    }
    if (bit.start > bit.end) {
        std::swap(bit.start, bit.end);
    }
    return true;
}

bool read_major_version(bit_def &bit, const char *text) {
    bit.major_ver = std::strstr(text, "false") == nullptr ? 1 : 0;
    return true;
}

constexpr Field<reg_def> kRegisterFields[] = {
    {"reg-offset", read_hex<&reg_def::offset>},
    {"reg-name", read_text<&reg_def::name>, "Could not allocate Register Name\n"},
    {"reg-size", read_number<&reg_def::size, 0>},
    {"reg-access", read_access},
    {"reg-default", read_hex<&reg_def::def_val>},
    {"reg-mask", read_hex<&reg_def::mask>},
    {"reg-testable", read_number<&reg_def::testable, 0>},
    {"reg-validate", read_number<&reg_def::validate, 0>},
    {"reg-length", read_number<&reg_def::length, 0>},
    {"reg-test-data", read_hex<&reg_def::test_data>},
    {"reg-test-description", read_text<&reg_def::test_desc>,
     "Can't allocate memory for reg test description\n"},
};

constexpr Field<bit_def> kBitFields[] = {
    {"bit-range", read_range, "Could not allocate space for bit range\n"},
    {"bit-name", read_text<&bit_def::name>, "Could not Allocate Bit Name\n"},
    {"bit-access", read_access},
    {"bit-default", read_hex<&bit_def::def_val>},
    {"bit-major-version", read_major_version},
};

constexpr Field<bit_info> kInfoFields[] = {
    {"info-val", read_number<&bit_info::value, 0>},
    {"info-desc", read_text<&bit_info::desc>, "Could not allocate Info String\n"},
};

uint32_t read_info(bit_def &bit, bit_info *known_last, xmlNode *xml_info) {
    constexpr char kFunction[] = "parse_info_config";
    const bool is_first = bit.infos == nullptr;
    bit_info *info = append_info(bit, known_last);
    if (info == nullptr) {
        DIAG_ERROR_IN(
            kFunction, "%s",
            is_first ? "Can't allocate memory for Bit Info\n" : "Can't allocate memory Bit Info\n");
        return DIAG_E_NOMEM;
    }
    for (const xmlNode &child : XmlElements(xml_info->children)) {
        const Field<bit_info> *field = find_field(kInfoFields, xml_name(child));
        const char *text = xml_first_text(child);
        if (field == nullptr || text == nullptr) {
            continue;
        }
        DIAG_CONFIG_DEBUG(2, "Debug: %s ", text);
        if (const uint32_t status = read_field(kFunction, *field, *info, text); status != 0) {
            return status;
        }
    }
    return 0;
}

uint32_t read_bit(reg_def &reg, bit_def *known_last, xmlNode *xml_bit) {
    constexpr char kFunction[] = "parse_bit_config";
    bit_def *bit = append_bit(kFunction, reg, known_last);
    if (bit == nullptr) {
        return DIAG_E_NOMEM;
    }
    bit_info *last_info = nullptr;
    // The first child is the white space before the first tag, whatever it is.
    xmlNode *first = xml_bit->children != nullptr ? xml_bit->children->next : nullptr;
    for (xmlNode &child : XmlElements(first)) {
        uint32_t status = 0;
        const Field<bit_def> *field = find_field(kBitFields, xml_name(child));
        const char *text = xml_first_text(child);
        if (xml_name_is(child, "info") && child.children != nullptr) {
            status = read_info(*bit, last_info, &child);
            last_info = cursors.info;
        } else if (field != nullptr && text != nullptr) {
            DIAG_CONFIG_DEBUG(0, "Debug: %s \n", text);
            status = read_field(kFunction, *field, *bit, text);
        }
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

}  // namespace

uint32_t read_register_xml(device_node &node, ListEnds &ends, xmlNode *xml_reg) {
    constexpr char kFunction[] = "parse_reg_config";
    reg_def *reg = append_register(node, ends, kNewRegister);
    if (reg == nullptr) {
        return DIAG_E_NOMEM;
    }
    bit_def *last_bit = nullptr;
    for (xmlNode &child : XmlElements(xml_reg->children)) {
        uint32_t status = 0;
        const Field<reg_def> *field = find_field(kRegisterFields, xml_name(child));
        const char *text = xml_first_text(child);
        if (xml_name_is(child, "bit") && child.children != nullptr) {
            status = read_bit(*reg, last_bit, &child);
            last_bit = cursors.bit;
        } else if (text != nullptr && xml_name_is(child, "reg-test-id")) {
            DIAG_CONFIG_DEBUG(2, "Debug: %s ", text);
            const auto role = static_cast<int>(std::strtol(text, nullptr, 10));
            status = assign_test_role(node, ends, reg, role, 1);
        } else if (text != nullptr && field != nullptr) {
            DIAG_CONFIG_DEBUG(2, "Debug: %s ", text);
            status = read_field(kFunction, *field, *reg, text);
        }
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

}  // namespace diag

uint32_t parse_bit_config(reg_def *reg, xmlNode *xml_bit) {
    return diag::read_bit(*reg, nullptr, xml_bit);
}

uint32_t parse_info_config(bit_def *bit, xmlNode *xml_info) {
    return diag::read_info(*bit, nullptr, xml_info);
}
