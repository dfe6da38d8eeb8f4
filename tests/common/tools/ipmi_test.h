// SPDX-License-Identifier: MIT
// What the tests of the IPMI calls share.
#ifndef TESTS_COMMON_TOOLS_IPMI_TEST_H
#define TESTS_COMMON_TOOLS_IPMI_TEST_H

#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/support/fake_tool.h"
#include "tests/support/logged_messages.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {

// What `ipmitool raw` prints for a response: sixteen bytes to a line.
inline std::string raw_answer(const std::vector<uint8_t> &bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); i++) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%s %02x", i > 0 && i % 16 == 0 ? "\n" : "", bytes[i]);
        text += digits;
    }
    return text + "\n";
}

// 1, 2, 3, ...
inline std::vector<uint8_t> counting_bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; i++) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

// One of the two forms of a call.
template <typename Function>
struct IpmiCall {
    const char *name;
    Function call;
};

template <typename Function>
std::ostream &operator<<(std::ostream &stream, const IpmiCall<Function> &call) {
    return stream << call.name;
}

template <typename Call>
std::string name_of(const testing::TestParamInfo<Call> &info) {
    return info.param.name;
}

class IpmiTest : public LibraryTest {
  protected:
    // What the tool prints from now on, and how it ends.
    void prints(std::string_view text, int status = 0) {
        tool_.runs_script("cat '" + folder_.write("printed", text) + "'\nexit " +
                          std::to_string(status) + "\n");
    }

    // The arguments of the last run.
    std::string last_call() const {
        const std::vector<std::string> calls = tool_.calls();
        return calls.empty() ? "nothing was run" : calls.back();
    }

    FakeTool tool_{"ipmitool"};
    TemporaryFolder folder_;
    std::string text_;  // what the last call printed
};

// A result buffer with a margin that shows what was stored.
class Result {
  public:
    static constexpr uint8_t kUntouched = 0xEE;

    explicit Result(size_t size) : bytes_(size, kUntouched) {}

    uint8_t *data() { return bytes_.data(); }

    // The bytes up to the last one that was stored.
    std::vector<uint8_t> stored() const {
        std::vector<uint8_t> stored = bytes_;
        while (!stored.empty() && stored.back() == kUntouched) {
            stored.pop_back();
        }
        return stored;
    }

  private:
    std::vector<uint8_t> bytes_;
};

}  // namespace diag::test

#endif
