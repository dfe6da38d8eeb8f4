// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/trace.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace diag::daemon {
namespace {

using std::chrono::microseconds;

const ClientKey kClient = {{0x7F000001, 40000}, 6, 2};

TEST(Trace, TellsAllOfAnAccess) {
    RequestHead head;
    head.transaction = 9;
    head.type = broker::kReadRequest;
    head.indication = 1;
    head.priority = 2;
    head.device_id = IdText("2");
    head.device_name = IdText("CPLD \"A\"");
    const Access access = {.address = 0x10, .count = 2, .width = 16, .flags = 28, .options = 4};
    const std::vector<uint8_t> bytes = {0x0A, 0xFF};
    const std::string line =
        trace_line({.client = kClient,
                    .head = head,
                    .access = &access,
                    .outcome = broker::Outcome::kSuccess,
                    .bytes = bytes,
                    .waited = microseconds(5),
                    .served = microseconds(7)},
                   std::chrono::system_clock::time_point(microseconds(1'000'000'000'000'042)));
    EXPECT_EQ(line,
              R"({"time":"2001-09-09T01:46:40.000042Z","client":"127.0.0.1:40000","tool":6,)"
              R"("instance":2,"transaction":9,"type":2,"indication":1,"priority":2,)"
              R"("device_id":"2","device_name":"CPLD \"A\"","address":16,"count":2,"width":16,)"
              R"("flags":28,"support":4,"status":"Success","waited_us":5,"served_us":7,)"
              R"("bytes":"0aff","repeated":false})");
}

TEST(Trace, ShowsTheFirstBytesOfALongAccess) {
    const Access access = {.is_write = true, .count = 100, .data = std::vector<uint8_t>(100, 0xAB)};
    const auto line = nlohmann::json::parse(
        trace_line({.client = kClient, .head = RequestHead(), .access = &access}, {}));
    EXPECT_EQ(line["bytes"].get<std::string>().size(), 64U);
}

TEST(Trace, LeavesOutWhatARequestHasNot) {
    const auto line = nlohmann::json::parse(
        trace_line({.client = kClient, .head = RequestHead(), .is_repeated = true}, {}));
    EXPECT_FALSE(line.contains("address"));
    EXPECT_FALSE(line.contains("bytes"));
    EXPECT_EQ(line["repeated"], true);
}

TEST(Trace, IsWrittenLineByLine) {
    const test::TemporaryFolder folder;
    const int file = open(folder.file("trace").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    StreamTrace trace(file);
    trace.record({.client = kClient, .head = RequestHead()});
    const std::string text = test::read_file(folder.file("trace"));
    ASSERT_FALSE(text.empty()) << "kept back";
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    EXPECT_EQ(nlohmann::json::parse(text)["client"], "127.0.0.1:40000");
    close(file);
}

// ---- a reader that does not read ----

enum class Kind { kPipe, kSocket };

class StuckTraceTest : public testing::TestWithParam<Kind> {
  protected:
    StuckTraceTest() {
        const bool is_made =
            GetParam() == Kind::kPipe
                ? pipe2(ends_.data(), O_CLOEXEC) == 0
                : socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()) == 0;
        EXPECT_TRUE(is_made);
    }
    ~StuckTraceTest() override {
        close(ends_[0]);
        close(ends_[1]);
    }

    std::vector<std::string> read_lines() const {
        std::string text;
        std::array<char, 65536> piece;
        pollfd event = {ends_[0], POLLIN, 0};
        while (poll(&event, 1, 0) == 1) {
            const ssize_t size = read(ends_[0], piece.data(), piece.size());
            if (size <= 0) {
                break;
            }
            text.append(piece.data(), static_cast<size_t>(size));
        }
        std::vector<std::string> lines;
        for (size_t start = 0; start < text.size();) {
            const size_t end = std::min(text.find('\n', start), text.size());
            lines.push_back(text.substr(start, end - start));
            start = end + 1;
        }
        return lines;
    }

    std::array<int, 2> ends_ = {-1, -1};
};

TEST_P(StuckTraceTest, LosesWholeLinesAndTellsHowMany) {
    constexpr size_t kRecords = 5000;
    StreamTrace trace(ends_[1]);
    for (size_t i = 0; i < kRecords; ++i) {
        trace.record({.client = kClient, .head = RequestHead()});
    }
    EXPECT_EQ(fcntl(ends_[1], F_GETFL) & O_NONBLOCK, 0) << "others use it too";
    size_t seen = read_lines().size();
    ASSERT_LT(seen, kRecords);
    ASSERT_GT(seen, 0U);
    trace.record({.client = kClient, .head = RequestHead()});
    const std::vector<std::string> later = read_lines();
    ASSERT_FALSE(later.empty());
    // The first may be the end of a line that went out in part.
    const auto line = nlohmann::json::parse(later.back());
    EXPECT_EQ(line["dropped"], kRecords - seen);
    trace.record({.client = kClient, .head = RequestHead()});
    const std::vector<std::string> last = read_lines();
    ASSERT_EQ(last.size(), 1U);
    EXPECT_FALSE(nlohmann::json::parse(last[0]).contains("dropped")) << "told once";
}

INSTANTIATE_TEST_SUITE_P(, StuckTraceTest, testing::Values(Kind::kPipe, Kind::kSocket));

}  // namespace
}  // namespace diag::daemon
