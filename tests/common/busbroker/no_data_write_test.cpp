// SPDX-License-Identifier: MIT
// The I2C write without data: through the bus broker, and with the tool.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/request_record.h"
#include "tests/common/busbroker/running_client.h"
#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/fake_tool.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

// ---- through the broker ----

class NoDataThroughBroker : public LibraryTest {
  protected:
    NoDataThroughBroker() {
        req_.retry_ms = kNoResend;
        req_.resp_expect = DIAG_EXPECT_SUCCESS;
        req_.access_addr = 0x150;
        req_.access_width = 16;
        req_.access_flags = 0x2A;
        set_verb_level(static_cast<unsigned>(-1));
    }

    uint32_t write(Client &client, const char *bus_path = nullptr) {
        bb_dev_ctx context = {id_, name_, &req_, client.get()};
        return i2ctool_set_no_data(&context, 0, bus_path, 0x33);
    }

    char id_[4] = "dev";
    char name_[5] = "name";
    RequestRecord req_;
};

TEST_F(NoDataThroughBroker, IsAWriteOfOneByteWithOneSupportByte) {
    const BrokerDouble broker(answering({"Success"}));
    RunningClient client(broker);
    EXPECT_EQ(write(client), 0U);
    ASSERT_EQ(broker.requests().size(), 1U);
    const BrokerRequest seen = broker.requests()[0];
    EXPECT_EQ(seen.device, "dev");
    EXPECT_EQ(seen.device_name, "name");
    EXPECT_EQ(seen.priority, 0U);
    EXPECT_EQ(seen.type, 3U);
    EXPECT_EQ(seen.indication, 5U);
    EXPECT_EQ(seen.data, "00000150,0001,10,2a,ff") << "address, width and flags are the record's";
    EXPECT_EQ(seen.support, ",01");
    EXPECT_EQ(req_.access_count, 1);
    EXPECT_EQ(req_.support_count, 1);
    ASSERT_NE(req_.write_buf, nullptr);
    EXPECT_EQ(*req_.write_buf, 0xFF);
    ASSERT_NE(req_.support_bytes, nullptr);
    EXPECT_EQ(*req_.support_bytes, 1);
    EXPECT_EQ(req_.transac_id, 8U);
}

TEST_F(NoDataThroughBroker, ReplacesWhatTheRecordHeld) {
    uint8_t bytes[] = {1, 2, 3};
    req_.write_buf = req_.support_bytes = bytes;
    req_.access_count = req_.support_count = 3;
    const BrokerDouble broker(answering({"Success"}));
    RunningClient client(broker);
    EXPECT_EQ(write(client, "/dev/i2c-3"), 0U);
    EXPECT_EQ(broker.requests().at(0).data, "00000150,0001,10,2a,ff");
    EXPECT_EQ(broker.requests().at(0).support, ",01");
}

TEST_F(NoDataThroughBroker, AnswersWhatTheRequestAnswers) {
    const BrokerDouble broker(answering({"Busy", "Rx Ack", "Rx Ack"}));
    RunningClient client(broker);
    EXPECT_EQ(write(client), DIAG_E_INVAL) << "a refusal, asked for once";
    EXPECT_EQ(broker.requests().size(), 1U);
    req_.drop_texts();
    req_.resp_expect = DIAG_EXPECT_ACK;
    EXPECT_EQ(write(client), 0U) << "what is expected is the record's";
    req_.drop_texts();
    bb_dev_ctx context = {nullptr, name_, &req_, client.get()};
    EXPECT_EQ(i2ctool_set_no_data(&context, 0, nullptr, 0), DIAG_E_INVAL);
    context = {id_, nullptr, &req_, client.get()};
    EXPECT_EQ(i2ctool_set_no_data(&context, 0, nullptr, 0), DIAG_E_INVAL);
}

TEST_F(NoDataThroughBroker, MissingRecordsAreReported) {
    const Messages expected = error_in("i2ctool_set_no_data", "Rx NULL pointer\n");
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(i2ctool_set_no_data(nullptr, 0, "/dev/i2c-3", 1), DIAG_E_INVAL);
              }),
              expected);
    Client client;
    bb_dev_ctx context = {id_, name_, nullptr, client.get()};
    EXPECT_EQ(logged_by([&] {
                  EXPECT_EQ(i2ctool_set_no_data(&context, 0, "/dev/i2c-3", 1), DIAG_E_INVAL);
              }),
              expected);
}

TEST_F(NoDataThroughBroker, WithoutAClientIsRefused) {
    bb_dev_ctx context = {id_, name_, &req_, nullptr};
    EXPECT_NE(i2ctool_set_no_data(&context, 0, nullptr, 1), 0U);
    EXPECT_EQ(req_.transac_id, 7U);
}

TEST_F(NoDataThroughBroker, WithoutMemorySaysSo) {
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        Client client;
        RequestRecord req;
        req.resp_expect = DIAG_EXPECT_NOTHING;
        bb_dev_ctx context = {id_, name_, &req, client.get()};
        text_logged_by([&] {
            watch.start();
            const uint32_t status = i2ctool_set_no_data(&context, 0, nullptr, 1);
            EXPECT_EQ(status, watch.has_failed() ? uint32_t{DIAG_E_NOMEM} : 0U);
        });
        EXPECT_EQ(req.transac_id, watch.has_failed() ? 7U : 8U);
        req.drop_texts();
        client.drop_queues();
    });
    EXPECT_EQ(failed, 4) << "data text, support text, frame and queue entry";
}

// ---- with the tool ----

class NoDataWithTool : public LibraryTest {
  protected:
    static uint32_t write(const std::string &bus_path, unsigned addr, int direct = 1) {
        return i2ctool_set_no_data(nullptr, direct, bus_path.c_str(), addr);
    }

    FakeTool tool_{"i2ctool"};
};

TEST_F(NoDataWithTool, RunsItOnTheBusAtTheAddress) {
    EXPECT_EQ(write("/dev/i2c-3", 0x150), 0U);
    EXPECT_EQ(write("3", 0x05), 0U);
    EXPECT_EQ(write("", 0xFFFFFFFF), 0U);
    EXPECT_EQ(write("/dev/i2c-3", 0, -1), 0U) << "anything but 0 is direct";
    EXPECT_EQ(tool_.calls(),
              (std::vector<std::string>{
                  "--no_data --bus=/dev/i2c-3 --addr=0x50", "--no_data --bus=3 --addr=0x05",
                  "--no_data --bus= --addr=0xff", "--no_data --bus=/dev/i2c-3 --addr=0x00"}));
}

TEST_F(NoDataWithTool, LogsItsCommandLine) {
    EXPECT_EQ(logged_by([] { EXPECT_EQ(write("/dev/i2c-3", 0x150), 0U); }),
              (Messages{{1,
                         "i2ctool_set_no_data: i2ctool --no_data --bus=/dev/i2c-3 --addr=0x50 "
                         "\n"}}));
}

TEST_F(NoDataWithTool, ReportsAToolThatFails) {
    const Messages expected = {{1, "i2ctool_set_no_data: i2ctool --no_data --bus=3 --addr=0x50 \n"},
                               {0, "FAILED <<<---\nError writing to I2C device\n"}};
    for (const int status : {1, 2, 255}) {
        tool_.answers("", status);
        EXPECT_EQ(logged_by([] { EXPECT_EQ(write("3", 0x50), DIAG_E_FAIL); }), expected);
    }
    tool_.runs_script("kill -9 $$\n");
    EXPECT_EQ(logged_by([] { EXPECT_EQ(write("3", 0x50), DIAG_E_FAIL); }), expected);
    tool_.is_missing();
    testing::internal::CaptureStderr();
    EXPECT_EQ(logged_by([] { EXPECT_EQ(write("3", 0x50), DIAG_E_FAIL); }), expected);
    testing::internal::GetCapturedStderr();
}

// A path is no place for commands of its own.
TEST_F(NoDataWithTool, UsesNoShell) {
    EXPECT_EQ(write("3;i2ctool 'a  b' $HOME", 0x50), 0U);
    EXPECT_EQ(tool_.calls(),
              (std::vector<std::string>{"--no_data --bus=3;i2ctool 'a b' $HOME --addr=0x50"}));
}

TEST_F(NoDataWithTool, CutsALongCommandLine) {
    const std::string front = "--no_data --bus=";
    const std::string path(3000, 'p');
    EXPECT_EQ(write(path, 0x50), 0U);
    const size_t most = 2047 - std::string("i2ctool ").size();
    EXPECT_EQ(tool_.calls().back(), (front + path).substr(0, most));
}

TEST_F(NoDataWithTool, WithoutABusIsRefused) {
    EXPECT_EQ(
        logged_by([] { EXPECT_EQ(i2ctool_set_no_data(nullptr, 1, nullptr, 0x50), DIAG_E_INVAL); }),
        error_in("i2ctool_set_no_data", "invalid I2C bus path\n"));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(NoDataWithTool, NeedsNoRecord) {
    Client client;
    bb_dev_ctx context = {nullptr, nullptr, nullptr, client.get()};
    EXPECT_EQ(i2ctool_set_no_data(&context, 1, "3", 0x50), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    EXPECT_EQ(client->tx_queue, nullptr);
}

}  // namespace
}  // namespace diag::test
