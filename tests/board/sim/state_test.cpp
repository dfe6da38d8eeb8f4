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
        for (const int32_t bus_type : {DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM, DIAG_BUS_BMC}) {
            device_node &other = maker.chip_on("CHIP", bus_type, 1, 0x31);
            other.pci_dev = 2;
            other.pci_func = 3;
            maker.reg(other, "SHARED", 0, 16);
        }
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

// How the byte of a register is read and written on one kind of bus.
struct Way {
    const char *name;
    bool (*read)(Board &board, uint8_t number, uint8_t *value);
    bool (*write)(Board &board, uint8_t number, uint8_t value);
};

bool read_i2c(Board &board, uint8_t number, uint8_t *value) {
    return board.i2c_transfer(
               {.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {value, 1}}) ==
           Status::kOk;
}

bool write_i2c(Board &board, uint8_t number, uint8_t value) {
    const uint8_t bytes[] = {number, value};
    return board.i2c_transfer({.bus = 1, .address = 0x31, .write = bytes, .read = {}}) ==
           Status::kOk;
}

bool read_bmc(Board &board, uint8_t number, uint8_t *value) {
    const uint8_t data[] = {1, 0x31, number, 1};
    IpmiResponse response;
    const bool done = board.ipmi_raw({0x38, 0x02, data}, &response) == Status::kOk &&
                      response.completion_code == 0 && response.size == 1;
    *value = done ? response.data[0] : uint8_t{0};
    return done;
}

bool write_bmc(Board &board, uint8_t number, uint8_t value) {
    const uint8_t data[] = {1, 0x31, number, value};
    IpmiResponse response;
    return board.ipmi_raw({0x38, 0x03, data}, &response) == Status::kOk &&
           response.completion_code == 0;
}

bool read_lpc(Board &board, uint8_t number, uint8_t *value) {
    return board.lpc_read(0x31U + number, 1, {value, 1}) == Status::kOk;
}

bool write_lpc(Board &board, uint8_t number, uint8_t value) {
    return board.lpc_write(0x31U + number, 1, {&value, 1}) == Status::kOk;
}

bool read_pci(Board &board, uint8_t number, uint8_t *value) {
    return board.pci_read({1, 2, 3}, 0x31U + number, 1, {value, 1}) == Status::kOk;
}

bool write_pci(Board &board, uint8_t number, uint8_t value) {
    return board.pci_write({1, 2, 3}, 0x31U + number, 1, {&value, 1}) == Status::kOk;
}

bool read_memory(Board &board, uint8_t number, uint8_t *value) {
    return board.memory_read(0x31U + number, 1, {value, 1}) == Status::kOk;
}

bool write_memory(Board &board, uint8_t number, uint8_t value) {
    return board.memory_write(0x31U + number, 1, {&value, 1}) == Status::kOk;
}

constexpr Way kWays[] = {
    {"i2c", read_i2c, write_i2c}, {"bmc", read_bmc, write_bmc},       {"lpc", read_lpc, write_lpc},
    {"pci", read_pci, write_pci}, {"mem", read_memory, write_memory},
};

// Two processes count up in the two bytes of one register, which share a record of the state.
TEST_F(StateTest, LosesNothingWhenProgramsRunAtOnce) {
    constexpr int kIncrements = 200;
    for (const Way &way : kWays) {
        const auto count_up = [this, &way](uint8_t number) {
            for (int i = 0; i < kIncrements; ++i) {
                SimBoard board;
                uint8_t value = 0;
                if (board.open(running_.path().c_str()) != Status::kOk ||
                    !way.read(board, number, &value) ||
                    !way.write(board, number, static_cast<uint8_t>(value + 1))) {
                    return false;
                }
            }
            return true;
        };
        Child high([&] { return count_up(0); });
        Child low([&] { return count_up(1); });
        EXPECT_TRUE(high.wait_for_it()) << way.name;
        EXPECT_TRUE(low.wait_for_it()) << way.name;
        for (const uint8_t number : Bytes{0, 1}) {
            uint8_t value = 0;
            EXPECT_TRUE(way.read(running_.board(), number, &value)) << way.name;
            EXPECT_EQ(value, kIncrements) << way.name;
        }
    }
}

// One program writes two values that fill a whole register in turn; what another one reads is one
// of them and no mixture.
TEST_F(StateTest, NeverShowsHalfAnAccess) {
    constexpr int kWrites = 400;
    EXPECT_EQ(running_.board().memory_write(0x31, 2, Bytes{0x11, 0x11}), Status::kOk);
    Child writer([this] {
        SimBoard board;
        bool done = board.open(running_.path().c_str()) == Status::kOk;
        for (int i = 0; done && i < kWrites; ++i) {
            const auto byte = static_cast<uint8_t>(i % 2 == 0 ? 0xEE : 0x11);
            done = board.memory_write(0x31, 2, Bytes{byte, byte}) == Status::kOk;
        }
        return done;
    });
    for (int i = 0; i < kWrites; ++i) {
        Bytes seen(2);
        ASSERT_EQ(running_.board().memory_read(0x31, 2, seen), Status::kOk);
        ASSERT_EQ(seen[0], seen[1]);
    }
    EXPECT_TRUE(writer.wait_for_it());
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
