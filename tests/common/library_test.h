// SPDX-License-Identifier: MIT
// What the tests of the core services and of the tool calls share.
#ifndef TESTS_COMMON_LIBRARY_TEST_H
#define TESTS_COMMON_LIBRARY_TEST_H

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/syslog_double.h"

namespace diag::test {

// Levels, environment and syslog are those of a program that has just been started.
class LibraryTest : public testing::Test {
  protected:
    LibraryTest();
    ~LibraryTest() override;
};

// What `call` writes to standard output, with the line numbers of error sites given as N.
std::string printed(const std::function<void()> &call);

// The same for messages that are in hand.
std::string without_line_numbers(std::string_view text);

// What standard output shows of an error reported by `function`.
std::string error_text(std::string_view function, std::string_view message);

// What syslog has received since the test began, with N for line numbers.
std::vector<SyslogEntry> logged();

}  // namespace diag::test

#endif
