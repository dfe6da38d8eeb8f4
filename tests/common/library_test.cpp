// SPDX-License-Identifier: MIT
#include "tests/common/library_test.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "diag_util.h"

namespace diag::test {

namespace {

void reset_library() {
    set_test_level(0);
    set_debug_enable(0);
    set_config_debug_enable(0);
    set_verb_level(0);
    set_log_level(0);
    diag_syslog_close();
    reset_syslog();
    for (const char *name : {"VERB_LEVEL", "LOG_LEVEL", "CONFIG_DEBUG", "DIAG_DEBUG"}) {
        unsetenv(name);
    }
}

}  // namespace

LibraryTest::LibraryTest() {
    reset_library();
}

LibraryTest::~LibraryTest() {
    reset_library();
}

std::string without_line_numbers(std::string_view text) {
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t digits = at + 1;
        const size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
        const bool is_line_number = text[at] == '[' && at > 0 && end > digits &&
                                    std::isalnum(static_cast<unsigned char>(text[at - 1])) != 0 &&
                                    text.substr(end).starts_with("]: ");
        result += is_line_number ? "[N" : std::string(1, text[at]);
        at = is_line_number ? end : at + 1;
    }
    return result;
}

std::string printed(const std::function<void()> &call) {
    testing::internal::CaptureStdout();
    call();
    return without_line_numbers(testing::internal::GetCapturedStdout());
}

std::string error_text(std::string_view function, std::string_view message) {
    return "ERROR: " + std::string(function) + "[N]: ERROR: " + std::string(message);
}

std::vector<SyslogEntry> logged() {
    std::vector<SyslogEntry> entries = syslog_state().entries;
    for (SyslogEntry &entry : entries) {
        entry.text = without_line_numbers(entry.text);
    }
    return entries;
}

}  // namespace diag::test
