// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/trace.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
    std::FILE *file = std::fopen(folder.file("trace").c_str(), "w");
    ASSERT_NE(file, nullptr);
    StreamTrace trace(file);
    trace.record({.client = kClient, .head = RequestHead()});
    const std::string text = test::read_file(folder.file("trace"));
    ASSERT_FALSE(text.empty()) << "kept back";
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    EXPECT_EQ(nlohmann::json::parse(text)["client"], "127.0.0.1:40000");
    std::fclose(file);
}

}  // namespace
}  // namespace diag::daemon
