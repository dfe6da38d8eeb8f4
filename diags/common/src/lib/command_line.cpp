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

void CommandLine::append_values(const unsigned char *data, int count, Padding padding) {
    const int digits = padding == Padding::kTwoDigits ? 2 : 1;
    for (int i = 0; i < count && !is_full(); i++) {
        append("%s0x%0*x", i == 0 ? "" : ",", digits, data[i]);
    }
}

}  // namespace diag
