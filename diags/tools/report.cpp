// SPDX-License-Identifier: MIT
#include "diags/tools/report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <errno.h>
#include <getopt.h>
#include <unistd.h>

#include "diags/tools/descriptor.h"

namespace diag::tools {
namespace {

constexpr size_t kMessageSize = 1024;  // longer messages are cut
constexpr size_t kLineSize = kMessageSize + 64;
constexpr size_t kShownOfValue = 64;
constexpr size_t kBytesPerLine = 16;
constexpr size_t kHexSize = sizeof "0x00 ";  // of an item of one byte, with its end

// One write for the whole line, so that lines of tools that run at once do not mix.
void print_error_line(const char *message, const char *hint) {
    char line[kLineSize];
    const int size = std::snprintf(line, sizeof line, "%s: %s%s\n", program_invocation_short_name,
                                   message, hint);
    const size_t length = std::min(static_cast<size_t>(std::max(size, 0)), sizeof line - 1);
    line[length - 1] = '\n';
    write_all(STDERR_FILENO, {reinterpret_cast<const uint8_t *>(line), length});
}

// Its items have any width: the digits grow with them, and fewer stand on a line.
char *append_item(char *end, std::span<const uint8_t> item) {
    unsigned long long value = 0;
    for (size_t i = item.size(); i > 0; --i) {
        value = value << 8 | item[i - 1];
    }
    return end + std::snprintf(end, kHexSize + 2 * (item.size() - 1), "0x%0*llx ",
                               static_cast<int>(2 * item.size()), value);
}

}  // namespace

ExitStatus report(ExitStatus status, const char *format, ...) {
    char message[kMessageSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    print_error_line(message, "");
    return status;
}

ExitStatus usage_error(const char *format, ...) {
    char message[kMessageSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    print_error_line(message, " (see --help)");
    return kExitUsage;
}

ExitStatus refuse_option(int code, char **argv) {
    const char *text = argv[optind - 1];
    return code == ':' ? usage_error("option '%s' needs a value", text)
                       : usage_error("unusable option '%s'", text);
}

ExitStatus refuse_value(const char *option, std::string_view value, const char *expected) {
    const auto shown = value.substr(0, kShownOfValue);
    return usage_error("--%s=%.*s%s: expected %s", option, static_cast<int>(shown.size()),
                       shown.data(), shown.size() < value.size() ? "..." : "", expected);
}

ExitStatus print(std::string_view text) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
    return write_all(STDOUT_FILENO, {bytes, text.size()}) == 0
               ? kExitDone
               : report(kExitAccessFailed, "standard output: %s", std::strerror(errno));
}

ExitStatus print_help(HelpText help) {
    for (const char *part : help) {
        if (const ExitStatus status = print(part); status != kExitDone) {
            return status;
        }
    }
    return kExitDone;
}

ExitStatus print_version() {
    char line[kLineSize];
    const int size =
        std::snprintf(line, sizeof line, "%s %s\n", program_invocation_short_name, DIAG_VERSION);
    return print({line, static_cast<size_t>(std::max(size, 0))});
}

ExitStatus print_hex(std::span<const uint8_t> bytes, size_t item_bytes) {
    while (!bytes.empty()) {
        char line[kBytesPerLine * kHexSize];
        char *end = line;
        const auto row = bytes.first(std::min(bytes.size(), kBytesPerLine));
        for (size_t i = 0; i < row.size(); i += item_bytes) {
            end = append_item(end, row.subspan(i, item_bytes));
        }
        end[-1] = '\n';
        const ExitStatus status = print({line, static_cast<size_t>(end - line)});
        if (status != kExitDone) {
            return status;
        }
        bytes = bytes.subspan(row.size());
    }
    return kExitDone;
}

}  // namespace diag::tools
