// SPDX-License-Identifier: MIT
// The state file between processes: locks, killed and stopped programs, programs that run at once.
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diags/board/sim/sim_board.h"
#include "tests/board/sim/running_board.h"

namespace diag::board::sim {
namespace {

using std::chrono::milliseconds;
using test::Bytes;

// A child process that does `work` and ends with 0 when it answered true.
class Child {
  public:
    explicit Child(const std::function<bool()> &work) : pid_(fork()) {
        if (pid_ == 0) {
            _exit(work() ? 0 : 1);
        }
    }
    ~Child() {
        if (pid_ > 0) {
            kill_it();
        }
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    void kill_it() {
        kill(pid_, SIGKILL);
        wait_for_it();
    }

    bool wait_for_it() {
        int status = -1;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    pid_t pid_;
};

class StateTest : public testing::Test {
  protected:
    StateTest() : running_(describe()) {}

    static test::TreeMaker &describe() {
        static test::TreeMaker maker;
        device_node &chip = maker.chip("CHIP", 1, 0x31);
        maker.reg(chip, "SHARED", 0, 16);
        return maker;
    }

    // A child that holds the lock until it is killed. Returns when the child has it.
    std::unique_ptr<Child> hold_lock() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        auto child = std::make_unique<Child>([&] {
            State state;
            if (state.open(running_.path().c_str()) != Status::kOk) {
                return false;
            }
            const State::Lock lock(state);
            const char ready = lock.status() == Status::kOk ? 'y' : 'n';
            (void)!write(ends[1], &ready, 1);
            pause();
            return true;
        });
        char ready = 'n';
        EXPECT_EQ(read(ends[0], &ready, 1), 1);
        EXPECT_EQ(ready, 'y');
        close(ends[0]);
        close(ends[1]);
        return child;
    }

    test::RunningBoard running_;
};

TEST_F(StateTest, IsFreeAgainAfterItsOwnerWasKilled) {
    const auto owner = hold_lock();
    owner->kill_it();
    EXPECT_EQ(running_.write(1, 0x31, {0, 0x12, 0x34}), Status::kOk);
    EXPECT_EQ(running_.read(1, 0x31, {0}, 2), (Bytes{0x12, 0x34})) << "and stays usable";
}

TEST_F(StateTest, IsReportedBusyWhileItsOwnerIsStopped) {
    const auto owner = hold_lock();
    State state;
    ASSERT_EQ(state.open(running_.path().c_str()), Status::kOk);
    {
        const State::Lock lock(state, milliseconds(20));
        EXPECT_EQ(lock.status(), Status::kBusy);
    }
    owner->kill_it();
    const State::Lock lock(state, milliseconds(20));
    EXPECT_EQ(lock.status(), Status::kOk);
}

// Two processes count up in the two bytes of one register, which share a record of the state.
TEST_F(StateTest, LosesNothingWhenProgramsRunAtOnce) {
    constexpr int kIncrements = 200;
    const auto count_up = [this](uint8_t number) {
        for (int i = 0; i < kIncrements; ++i) {
            SimBoard board;
            uint8_t value = 0;
            if (board.open(running_.path().c_str()) != Status::kOk ||
                board.i2c_transfer(
                    {.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {&value, 1}}) !=
                    Status::kOk) {
                return false;
            }
            const Bytes bytes = {number, static_cast<uint8_t>(value + 1)};
            if (board.i2c_transfer({.bus = 1, .address = 0x31, .write = bytes, .read = {}}) !=
                Status::kOk) {
                return false;
            }
        }
        return true;
    };
    Child high([&] { return count_up(0); });
    Child low([&] { return count_up(1); });
    EXPECT_TRUE(high.wait_for_it());
    EXPECT_TRUE(low.wait_for_it());
    EXPECT_EQ(running_.read(1, 0x31, {0}, 2), (Bytes{kIncrements, kIncrements}));
}

TEST_F(StateTest, OutlivesItsPrograms) {
    EXPECT_EQ(running_.write(1, 0x31, {0, 0x12}), Status::kOk);
    SimBoard later;
    ASSERT_EQ(later.open(running_.path().c_str()), Status::kOk);
    const uint8_t number = 0;
    uint8_t value = 0;
    EXPECT_EQ(
        later.i2c_transfer({.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {&value, 1}}),
        Status::kOk);
    EXPECT_EQ(value, 0x12);
}

}  // namespace
}  // namespace diag::board::sim
