// SPDX-License-Identifier: MIT
#include "tests/support/syslog_double.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <syslog.h>

namespace {

std::mutex lock;
diag::test::SyslogState state;
const char *ident_pointer = nullptr;

void record(int priority, const char *format, va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::lock_guard guard(lock);
    state.entries.push_back({priority, text});
}

}  // namespace

extern "C" {

void openlog(const char *ident, int option, int facility) {
    const std::lock_guard guard(lock);
    ident_pointer = ident;
    state.option = option;
    state.facility = facility;
    state.opened++;
}

void closelog(void) {
    const std::lock_guard guard(lock);
    ident_pointer = nullptr;
    state.closed++;
}

void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    record(priority, format, arguments);
    va_end(arguments);
}

// What syslog becomes where the compiler hardens such calls.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the C library's
void __syslog_chk(int priority, int /*flag*/, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    record(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"

namespace diag::test {

SyslogState syslog_state() {
    const std::lock_guard guard(lock);
    SyslogState copy = state;
    copy.ident = ident_pointer != nullptr ? ident_pointer : "";
    return copy;
}

void reset_syslog() {
    const std::lock_guard guard(lock);
    state = {};
}

}  // namespace diag::test
