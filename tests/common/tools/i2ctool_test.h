// SPDX-License-Identifier: MIT
#ifndef TESTS_COMMON_TOOLS_I2CTOOL_TEST_H
#define TESTS_COMMON_TOOLS_I2CTOOL_TEST_H

#include <gtest/gtest.h>
#include <ostream>
#include <string>

#include "tests/common/library_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {

// One of the two forms of a call, which behave alike but for their names and one option.
template <typename Function>
struct I2cCall {
    const char *name;
    Function call;
    const char *control;  // the option, with a blank behind it
};

template <typename Function>
std::ostream &operator<<(std::ostream &stream, const I2cCall<Function> &call) {
    return stream << call.name;
}

template <typename Call>
std::string name_of(const testing::TestParamInfo<Call> &info) {
    return info.param.name;
}

template <typename Call>
class I2cTest : public LibraryTest, public testing::WithParamInterface<Call> {
  protected:
    const std::string name_ = this->GetParam().name;
    const std::string control_ = this->GetParam().control;
    FakeTool tool_{"i2ctool"};
};

}  // namespace diag::test

#endif
