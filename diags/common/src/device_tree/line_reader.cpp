// SPDX-License-Identifier: MIT
#include "diags/common/src/device_tree/line_reader.h"

#include <cerrno>

#include "diag_types.h"

#include "diags/common/src/lib/fields.h"

namespace diag {

namespace {

// Files that were written elsewhere end their lines in two characters.
size_t drop_carriage_return(char *line, size_t length) {
    const bool has_end = length > 0 && line[length - 1] == '\n';
    const size_t text = has_end ? length - 1 : length;
    if (text == 0 || line[text - 1] != '\r') {
        return length;
    }
    line[text - 1] = has_end ? '\n' : '\0';
    line[length - 1] = '\0';
    return length - 1;
}

bool is_empty(const char *line, size_t length) {
    return length == 0 || (length == 1 && line[0] == '\n');
}

}  // namespace

char *LineReader::next() {
    ssize_t got = 0;
    while (got != -1) {
        errno = 0;
        got = getline(&line_, &capacity_, file_.get());
        if (got > 0 && !is_empty(line_, drop_carriage_return(line_, static_cast<size_t>(got)))) {
            return line_;
        }
    }
    if (std::feof(file_.get()) == 0) {
        status_ = DIAG_E_FAIL | (static_cast<uint32_t>(errno) & 0xFFFF);
    }
    return nullptr;
}

bool LineReader::go_to(off_t position) {
    return position >= 0 && fseeko(file_.get(), position, SEEK_SET) == 0;
}

bool is_delimiter(const char *line) {
    return starts_with(line, "=====");
}

}  // namespace diag
