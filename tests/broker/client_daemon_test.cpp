// SPDX-License-Identifier: MIT
// The client and the real bus broker, also where datagrams get lost, doubled and damaged between
// them.
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "tests/broker/client_test.h"
#include "tests/support/running_broker.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

using broker::Client;
using broker::Outcome;
using Json = nlohmann::json;

const std::string kBoards = DIAG_SOURCE_DIR "/examples/boards/";
const std::string kCpld = "2";       // the device id of SYS_CPLD
constexpr uint32_t kScratch = 0x02;  // its register SCRATCH

class ClientDaemonTest : public testing::Test {
  protected:
    void serve(const std::string &board, const std::vector<std::string> &options = {}) {
        std::vector<std::string> arguments = {"--board", board};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back(kBoards + "edge_router.xml");
        daemon_.emplace(arguments,
                        std::vector<std::string>{"DIAG_BOARD_DIR=" + folder_.path().string()});
    }

    // The example board with faults between broker and clients.
    std::string board_with(const Json &faults) const {
        std::ifstream file(kBoards + "edge_router.board");
        Json board = Json::parse(file, nullptr, true, true);
        board["description"] = kBoards + "edge_router.xml";
        board["broker"]["faults"] = faults;
        return folder_.write("faulty.board", board.dump());
    }

    Json status() const {
        Client client(settings_for(daemon_->port()));
        std::string document;
        EXPECT_TRUE(client.read_status(&document).is_done());
        return Json::parse(document);
    }

    TemporaryFolder folder_;
    std::optional<RunningBroker> daemon_;
};

TEST_F(ClientDaemonTest, ReadsWhatItWrote) {
    serve(kBoards + "edge_router.board");
    Client client(settings_for(daemon_->port()));
    Bytes bytes(1);
    for (const uint8_t value : Bytes{0x5A, 0xA5}) {
        EXPECT_TRUE(client.write(kCpld, {.address = kScratch}, Bytes{value}).is_done());
        EXPECT_TRUE(client.read(kCpld, {.address = kScratch}, bytes).is_done());
        EXPECT_EQ(bytes, Bytes{value});
    }
}

TEST_F(ClientDaemonTest, LearnsWhyItsLatestRequestWasRefused) {
    serve(kBoards + "edge_router.board");
    Client client(settings_for(daemon_->port()));
    std::string text = "old";
    EXPECT_TRUE(client.read_last_refusal(&text).is_done());
    EXPECT_EQ(text, "");
    Bytes bytes(1);
    EXPECT_TRUE(client.read("no such device", {}, bytes).is_refused(Outcome::kUnknownDevice));
    EXPECT_TRUE(client.read_last_refusal(&text).is_done());
    EXPECT_EQ(text, "Unknown device");
}

TEST_F(ClientDaemonTest, IsToldThatItsTransactionHasEnded) {
    serve(kBoards + "edge_router.board", {"--transaction-timeout", "50"});
    Client slow(settings_for(daemon_->port()));
    Client other({.address = {"127.0.0.1", daemon_->port()}, .tool = 17, .retry_ms = 100});
    Bytes bytes(1);
    EXPECT_TRUE(
        slow.read(kCpld, {.address = kScratch, .indication = broker::kFirst}, bytes).is_done());
    EXPECT_TRUE(other.write(kCpld, {.address = kScratch}, Bytes{1}).is_done())
        << "after the transaction has timed out";
    EXPECT_TRUE(slow.write(kCpld, {.address = kScratch}, Bytes{2})
                    .is_refused(Outcome::kTransactionExpired));
    EXPECT_TRUE(slow.write(kCpld, {.address = kScratch}, Bytes{3}).is_done()) << "said once";
}

TEST_F(ClientDaemonTest, GetsEveryRequestDoneOnceOverABadLine) {
    serve(board_with({{"lose", 5},
                      {"double", 15},
                      {"corrupt", 5},
                      {"reorder", 10},
                      {"late", 5},
                      {"late_ms", 20},
                      {"seed", 7}}));
    constexpr int kRounds = 30;
    {
        Client client(settings_for(daemon_->port()));
        Bytes bytes(1);
        for (int i = 0; i < kRounds; ++i) {
            const auto value = static_cast<uint8_t>(i);
            EXPECT_TRUE(client.write(kCpld, {.address = kScratch}, Bytes{value}).is_done());
            EXPECT_TRUE(client.read(kCpld, {.address = kScratch}, bytes).is_done());
            EXPECT_EQ(bytes, Bytes{value});
        }
    }
    const Json counts = status()["counts"];
    EXPECT_EQ(counts["performed"], 2 * kRounds);
    EXPECT_GT(counts["received"], 2 * kRounds) << "the line was not bad";
}

TEST_F(ClientDaemonTest, TellsASilentDaemonFromARefusingOne) {
    serve(board_with({{"silent", true}}));
    Bytes bytes(1);
    {
        Client client(settings_for(daemon_->port()));
        EXPECT_EQ(client.read(kCpld, {}, bytes).kind, broker::Result::Kind::kNoAnswer);
    }
    daemon_.reset();
    serve(board_with({{"refuse", 100}}));
    Client client(settings_for(daemon_->port()));
    EXPECT_TRUE(client.read(kCpld, {}, bytes).is_refused(Outcome::kRefused));
}

}  // namespace
}  // namespace diag::test
