// SPDX-License-Identifier: MIT
// A receive machine under test: a client without socket and threads.
#ifndef TESTS_COMMON_BUSBROKER_MACHINE_H
#define TESTS_COMMON_BUSBROKER_MACHINE_H

#include <cstdint>
#include <memory>
#include <string_view>

#include "busbroker.h"

#include "tests/common/busbroker/answer.h"
#include "tests/common/busbroker/time_doubles.h"
#include "tests/common/library_test.h"
#include "tests/support/logged_messages.h"

namespace diag::test {

inline constexpr size_t kLargestDatagram = 4096;

// More than the time that may pass between two steps.
inline constexpr int64_t kTooLong = 4;

// Time stands still, so a slow run is no time-out.
class MachineTest : public LibraryTest {
  protected:
    StoppedClock clock_;
};

class Machine {
  public:
    // Its last step was just now.
    Machine();
    ~Machine();
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;

    // One datagram, of at most 4096 bytes; the machine's status.
    uint32_t take(std::string_view datagram);
    // Each byte a datagram of its own, but for the last three, which are one.
    void take_byte_by_byte(std::string_view frame);
    // Stores a datagram without running the machine.
    void load(std::string_view datagram);

    // What was delivered, in order.
    const Answers &answers() const { return answers_; }

    tool_info &client() { return *client_; }
    tool_info *operator->() { return client_.get(); }

  private:
    static uint32_t deliver(tool_info *client, void *machine, busbroker_req *record);

    std::unique_ptr<tool_info> client_;
    Answers answers_;
};

// Whether the machine looks for a new answer and holds nothing of an earlier one.
testing::AssertionResult is_reset(Machine &machine);

// Whether the machine takes this answer, after whatever came before.
testing::AssertionResult accepts(Machine &machine, const Answer &answer);

// Messages without those of the walker's every step.
Messages without_steps(const Messages &messages);

}  // namespace diag::test

#endif
