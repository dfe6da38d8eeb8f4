// SPDX-License-Identifier: MIT
// Programs that share a device, and what becomes of the others when one of them, or the daemon, is
// killed.
#include <array>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "timer_epoll.h"

#include "tests/broker/library_client.h"
#include "tests/support/running_broker.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

constexpr uint32_t kRetryMilliseconds = 1000;
constexpr uint32_t kPlace = 0x1000;

void start_ticks(int type) {
    timer_t timer = nullptr;
    ASSERT_EQ(init_timer(DIAG_TIMER_TICK, &timer, type), 0U);
}

// A process of its own that runs a piece of this program. It dies with the test.
class Child {
  public:
    explicit Child(const std::function<int(int report)> &work) {
        EXPECT_EQ(pipe(report_.data()), 0);
        process_ = fork();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::_Exit(work(report_[1]));
        }
        close(report_[1]);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child() {
        if (process_ > 0) {
            end(SIGKILL);
        }
        close(report_[0]);
    }

    // Blocks until the child reports; false when it ends without.
    bool await_report() const {
        char byte = 0;
        return read(report_[0], &byte, 1) == 1;
    }

    int end(int signal) {
        kill(process_, signal);
        return wait();
    }

    int wait() {
        int status = -1;
        while (waitpid(process_, &status, 0) == -1 && errno == EINTR) {
        }
        process_ = -1;
        return status;
    }

  private:
    std::array<int, 2> report_{-1, -1};
    pid_t process_ = -1;
};

class SharedDevice : public testing::Test {
  protected:
    void start_broker(const std::vector<std::string> &options) {
        folder_.write("board.xml", "<config/>");
        const std::string board = folder_.write(
            "board.board",
            R"({ "description": "board.xml", "memory": [ { "address": "0x1000", "size": 16 } ] })");
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"--board", board, folder_.file("board.xml")});
        broker_ = std::make_unique<RunningBroker>(
            arguments, std::vector<std::string>{"DIAG_BOARD_DIR=" + folder_.path().string()});
    }

    // A process that does something to the device as client `number`, reports and then does nothing
    // any more.
    std::unique_ptr<Child> make_holder(uint32_t number,
                                       const std::function<uint32_t(LibraryClient &)> &take) {
        return std::make_unique<Child>([this, number, &take](int report) {
            LibraryClient client(broker_->port(), number, kRetryMilliseconds);
            if (take(client) != 0 || write(report, "x", 1) != 1) {
                return 1;
            }
            for (;;) {
                pause();
            }
        });
    }

    TemporaryFolder folder_;
    std::unique_ptr<RunningBroker> broker_;
    std::array<uint8_t, 1> byte_{};
};

uint32_t begin_transaction(LibraryClient &client) {
    std::array<uint8_t, 1> byte{};
    return client.read("mem", kPlace, byte, DIAG_TRANSAC_FIRST);
}

TEST_F(SharedDevice, ComesFreeWhenTheHolderOfATransactionIsKilled) {
    start_broker({"--transaction-timeout", "300"});
    const auto holder = make_holder(1, begin_transaction);
    ASSERT_TRUE(holder->await_report());
    holder->end(SIGKILL);

    start_ticks(DIAG_TIMER_100_MS);
    LibraryClient other(broker_->port(), 2, kRetryMilliseconds);
    EXPECT_EQ(other.read("mem", kPlace, byte_), 0U) << "waits for the time-out, and has it then";
}

TEST_F(SharedDevice, IsRefusedInTheEndWhenTheHolderOfAReservationIsKilled) {
    start_broker({"--wait", "200"});
    const auto holder = make_holder(1, [](LibraryClient &client) { return client.reserve("mem"); });
    ASSERT_TRUE(holder->await_report());
    holder->end(SIGKILL);

    start_ticks(DIAG_TIMER_100_MS);
    LibraryClient other(broker_->port(), 2, kRetryMilliseconds);
    EXPECT_EQ(other.read("mem", kPlace, byte_), DIAG_E_INVAL);
    EXPECT_EQ(other.read("i2c:1:50", 0, byte_), DIAG_E_INVAL) << "nothing answers there";
}

TEST_F(SharedDevice, IsReadAndWrittenByOneProgramAtATimeWithinTransactions) {
    constexpr int kIncrements = 200;
    start_broker({});
    const auto count_up = [this](uint32_t number) {
        return [this, number](int /*report*/) {
            start_ticks(DIAG_TIMER_100_MS);
            LibraryClient client(broker_->port(), number, kRetryMilliseconds);
            std::array<uint8_t, 1> byte{};
            for (int i = 0; i < kIncrements; i++) {
                if (client.read("mem", kPlace, byte, DIAG_TRANSAC_FIRST) != 0) {
                    return 1;
                }
                byte[0]++;
                if (client.write("mem", kPlace, byte, DIAG_TRANSAC_LAST) != 0) {
                    return 2;
                }
            }
            return 0;
        };
    };
    Child one(count_up(1));
    Child two(count_up(2));
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(two.wait(), 0);

    LibraryClient reader(broker_->port(), 3, kRetryMilliseconds);
    ASSERT_EQ(reader.read("mem", kPlace, byte_), 0U);
    EXPECT_EQ(byte_[0], 2 * kIncrements % 256);
}

TEST_F(SharedDevice, RequestIsGivenUpWhenTheDaemonIsKilled) {
    start_broker({});
    start_ticks(DIAG_TIMER_1_MS);
    LibraryClient client(broker_->port(), 1, kRetryMilliseconds);
    ASSERT_EQ(client.read("mem", kPlace, byte_), 0U);

    EXPECT_EQ(WTERMSIG(broker_->end(SIGKILL)), SIGKILL);
    EXPECT_EQ(client.read("mem", kPlace, byte_), DIAG_E_INVAL);
    EXPECT_EQ(client.requests(), 2U);
}

TEST_F(SharedDevice, EndsAConnectedProgramWhenTheDaemonIsKilled) {
    start_broker({});
    Child program([this](int report) {
        start_ticks(DIAG_TIMER_1_MS);
        LibraryClient client(broker_->port(), 1, kRetryMilliseconds,
                             LibraryClient::Connected::kYes);
        std::array<uint8_t, 1> byte{};
        if (client.read("mem", kPlace, byte) != 0 || write(report, "x", 1) != 1) {
            return 1;
        }
        while (client.read("mem", kPlace, byte) == 0) {
        }
        return 2;
    });
    ASSERT_TRUE(program.await_report());
    broker_->end(SIGKILL);
    const int status = program.wait();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 255);
}

}  // namespace
}  // namespace diag::test
