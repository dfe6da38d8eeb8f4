// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_SYSLOG_DOUBLE_H
#define TESTS_SUPPORT_SYSLOG_DOUBLE_H

#include <string>
#include <vector>

namespace diag::test {

// Programs that link the test support have this in place of the system's syslog.
struct SyslogEntry {
    int priority;
    std::string text;

    bool operator==(const SyslogEntry &) const = default;
};

struct SyslogState {
    std::vector<SyslogEntry> entries;
    std::string ident;  // as it reads now through the pointer that openlog was given
    int option = 0;
    int facility = 0;
    int opened = 0;
    int closed = 0;
};

// What has been logged since the process began or reset_syslog was called.
SyslogState syslog_state();
void reset_syslog();

}  // namespace diag::test

#endif
