// SPDX-License-Identifier: MIT
// Many clients, the daemon and a bad network between them: every request that is completed has the
// right bytes, none is performed twice, and nothing grows.
#include <array>
#include <atomic>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>
#include <unistd.h>
#include <vector>

#include "diag_util.h"
#include "timer_epoll.h"

#include "tests/broker/library_client.h"
#include "tests/support/running_broker.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

#if defined(__SANITIZE_THREAD__)
constexpr uint32_t kRequestsInAll = 20'000;  // it is ten times as slow
constexpr bool kMemoryIsComparable = false;
#elif defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kRequestsInAll = 100'000;
constexpr bool kMemoryIsComparable = false;  // it keeps what is freed; it looks for leaks itself
#else
constexpr uint32_t kRequestsInAll = 100'000;
constexpr bool kMemoryIsComparable = true;
#endif

constexpr uint32_t kClients = 8;
constexpr uint32_t kRequestsOfEach = kRequestsInAll / kClients;
constexpr uint32_t kRetryMilliseconds = 200;  // two ticks, of which the soak has one a millisecond

constexpr char kBoard[] = R"({
  "description": "board.xml",
  "memory": [ { "address": "0x1000", "size": 256 } ],
  "broker": { "faults": { "lose": 10, "double": 5, "corrupt": 5, "seed": 7 } }
})";

constexpr char kDescription[] = R"(<config>
  <chip>
    <chip-type>CPLD</chip-type><chip-name>CPLD</chip-name><chip-bus>/dev/i2c-1</chip-bus>
    <chip-address>31</chip-address><chip-offset-length>8</chip-offset-length>
    <reg><reg-offset>0</reg-offset><reg-name>ID</reg-name><reg-size>8</reg-size>
      <reg-access>RO</reg-access><reg-default>a5</reg-default><reg-mask>ff</reg-mask></reg>
  </chip>
</config>)";

using Word = std::array<uint8_t, 4>;

Word to_word(uint32_t number) {
    return {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
            static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
}

uint32_t to_number(const Word &word) {
    return word[0] | word[1] << 8U | word[2] << 16U | static_cast<uint32_t>(word[3]) << 24U;
}

// Resident memory of a process in KiB.
long resident(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    long size = 0;
    long pages = 0;
    file >> size >> pages;
    return pages * sysconf(_SC_PAGESIZE) / 1024;
}

struct Tally {
    uint32_t issued = 0;
    uint32_t completed = 0;
    uint32_t wrong = 0;
};

// Writes ascending numbers to a place of its own and reads them back. After a request without an
// outcome either of two numbers is right; a request that is performed twice brings back an old one.
class Worker {
  public:
    Worker(uint16_t port, uint32_t number)
        : client_(port, number, kRetryMilliseconds), address_(0x1000 + 16 * number) {}

    void work(uint32_t requests) {
        for (uint32_t i = 0; i < requests; i += 2) {
            write_next();
            read_back();
        }
    }

    const Tally &tally() const { return tally_; }

  private:
    void write_next() {
        Word word = to_word(++written_);
        tally_.issued++;
        if (client_.write("mem", address_, word) == 0) {
            tally_.completed++;
            certain_ = written_;
        }
    }

    void read_back() {
        Word word{};
        tally_.issued++;
        if (client_.read("mem", address_, word) != 0) {
            return;
        }
        tally_.completed++;
        const uint32_t number = to_number(word);
        if (number < certain_ || number > written_) {
            tally_.wrong++;
        }
        certain_ = number;
    }

    LibraryClient client_;
    uint32_t address_;
    uint32_t written_ = 0;
    uint32_t certain_ = 0;  // the least number that may stand there
    Tally tally_;
};

class TickingTimer {
  public:
    TickingTimer() { EXPECT_EQ(init_timer(DIAG_TIMER_TICK, &timer_, DIAG_TIMER_1_MS), 0U); }
    ~TickingTimer() { timer_delete(timer_); }
    TickingTimer(const TickingTimer &) = delete;
    TickingTimer &operator=(const TickingTimer &) = delete;

  private:
    timer_t timer_ = nullptr;
};

// The daemon's account of itself; asked for until it comes through.
nlohmann::json read_status(uint16_t port) {
    LibraryClient client(port, 99, kRetryMilliseconds);
    std::string text;
    std::array<uint8_t, 1900> bytes;
    for (;;) {
        bytes.fill(0);
        if (client.read("busbroker", static_cast<uint32_t>(text.size()), bytes) != 0) {
            continue;
        }
        const auto *piece = reinterpret_cast<const char *>(bytes.data());
        const size_t length = strnlen(piece, bytes.size());
        text.append(piece, length);
        if (length < bytes.size()) {
            return nlohmann::json::parse(text);
        }
    }
}

class Soak : public testing::Test {
  protected:
    Soak() {
        // What the corrupted answers say is not worth a line each.
        set_verb_level(static_cast<unsigned>(-1));
        set_log_level(static_cast<unsigned>(-1));
        folder_.write("board.xml", kDescription);
        const std::string board = folder_.write("board.board", kBoard);
        broker_ = std::make_unique<RunningBroker>(
            std::vector<std::string>{"--board", board, folder_.file("board.xml")},
            std::vector<std::string>{"DIAG_BOARD_DIR=" + folder_.path().string()});
        for (uint32_t i = 0; i < kClients; i++) {
            workers_.push_back(std::make_unique<Worker>(broker_->port(), i));
        }
    }

    void work(uint32_t requests) {
        std::vector<std::thread> threads;
        for (const auto &worker : workers_) {
            threads.emplace_back([&worker, requests] { worker->work(requests); });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }

    Tally total() const {
        Tally sum;
        for (const auto &worker : workers_) {
            sum.issued += worker->tally().issued;
            sum.completed += worker->tally().completed;
            sum.wrong += worker->tally().wrong;
        }
        return sum;
    }

    TemporaryFolder folder_;
    std::unique_ptr<RunningBroker> broker_;
    std::vector<std::unique_ptr<Worker>> workers_;
};

TEST_F(Soak, RightBytesNothingTwiceAndNothingGrows) {
    const TickingTimer timer;
    work(kRequestsOfEach / 5);
    const long daemon_before = resident(broker_->process());
    const size_t own_before = mallinfo2().uordblks;
    work(kRequestsOfEach - kRequestsOfEach / 5);

    if (kMemoryIsComparable) {
        EXPECT_LE(resident(broker_->process()) - daemon_before, 1024) << "KiB more in the daemon";
        EXPECT_LE(mallinfo2().uordblks, own_before + 65536) << "more in the clients";
    }
    const Tally sum = total();
    EXPECT_EQ(sum.wrong, 0U);
    EXPECT_EQ(sum.issued, kRequestsInAll);
    // About 95 % on an idle machine; on a busy one the daemon may not be there in time.
    EXPECT_GT(sum.completed, kRequestsInAll / 2);

    const nlohmann::json counts = read_status(broker_->port()).at("counts");
    RecordProperty("counts", counts.dump());
    std::printf("%u requests, %u completed; daemon: %s\n", sum.issued, sum.completed,
                counts.dump().c_str());
    EXPECT_LE(counts.at("performed"), sum.issued);
    EXPECT_GE(counts.at("performed"), sum.completed);
    EXPECT_GT(counts.at("repeated"), sum.issued / 20) << "the network was too good";
    workers_.clear();
    EXPECT_EQ(broker_->end(SIGTERM), 0) << "the daemon's leaks would show here, too";
}

}  // namespace
}  // namespace diag::test
