// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/command_line.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace diag {

void CommandLine::append(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const size_t room = sizeof text_ - length_;
    const int wanted = std::vsnprintf(text_ + length_, room, format, arguments);
    va_end(arguments);
    if (wanted > 0) {
        length_ += std::min(static_cast<size_t>(wanted), room - 1);
    }
}

void CommandLine::append_values(const unsigned char *data, int count) {
    append(" --val=");
    for (int i = 0; i < count && !is_full(); i++) {
        append(i == 0 ? "0x%02x" : ",0x%02x", data[i]);
    }
}

}  // namespace diag
