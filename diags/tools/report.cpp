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
constexpr size_t kBytesPerLine = 16;
constexpr size_t kHexSize = sizeof "0x00 " - 1;

// One write for the whole line, so that lines of tools that run at once do not mix.
void print_error_line(const char *message, const char *hint) {
    char line[kLineSize];
    const int size = std::snprintf(line, sizeof line, "%s: %s%s\n", program_invocation_short_name,
                                   message, hint);
    const size_t length = std::min(static_cast<size_t>(std::max(size, 0)), sizeof line - 1);
    line[length - 1] = '\n';
    write_all(STDERR_FILENO, {reinterpret_cast<const uint8_t *>(line), length});
}

ExitStatus print_text(const char *text, size_t size) {
    if (write_all(STDOUT_FILENO, {reinterpret_cast<const uint8_t *>(text), size}) != 0) {
        return report(kExitAccessFailed, "standard output: %s", std::strerror(errno));
    }
    return kExitDone;
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

ExitStatus print(const char *text) {
    return print_text(text, std::strlen(text));
}

ExitStatus print_version() {
    char line[kLineSize];
    const int size =
        std::snprintf(line, sizeof line, "%s %s\n", program_invocation_short_name, DIAG_VERSION);
    return print_text(line, static_cast<size_t>(std::max(size, 0)));
}

ExitStatus print_hex(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto row = bytes.first(std::min(bytes.size(), kBytesPerLine));
        char line[kBytesPerLine * kHexSize + 1];
        char *end = line;
        for (uint8_t byte : row) {
            end += std::snprintf(end, kHexSize + 1, "0x%02x ", byte);
        }
        end[-1] = '\n';
        if (const ExitStatus status = print_text(line, static_cast<size_t>(end - line));
            status != kExitDone) {
            return status;
        }
        bytes = bytes.subspan(row.size());
    }
    return kExitDone;
}

}  // namespace diag::tools
