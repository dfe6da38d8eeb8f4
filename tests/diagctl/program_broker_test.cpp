// SPDX-License-Identifier: MIT
// diagctl through the real bus broker, on the boards of the examples.
#include <chrono>
#include <future>
#include <thread>

#include "diags/broker/client.h"
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/running_broker.h"

namespace diag::test {
namespace {

using Json = nlohmann::json;

class Brokered : public DiagctlTest {
  protected:
    void serve(const std::string &name, const std::string &description, const Words &options = {}) {
        description_ = example_board(description);
        Words arguments = {"--board", example_board(name)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back(description_);
        broker_.emplace(arguments, Words{"DIAG_BOARD_DIR=" + brokers_boards_.path().string()});
    }
    void serve_router(const Words &options = {}) {
        serve("edge_router.board", "edge_router.xml", options);
    }

    ProgramResult through_broker(const Words &arguments) const {
        Words all{"--broker"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return diagctl(all, {broker_->setting()});
    }
    ProgramResult write(const std::string &target, const std::string &value) const {
        return through_broker({"write", description_, target, value});
    }
    Json broker_status() const {
        const ProgramResult result = through_broker({"--json", "broker", "status"});
        EXPECT_EQ(result.status, 0) << result.errors;
        return Json::parse(result.output)["status"];
    }
    std::string read_field(const std::string &target) const {
        const ProgramResult result = through_broker({"--json", "read", description_, target});
        EXPECT_EQ(result.status, 0) << result.errors;
        return Json::parse(result.output)["registers"][0]["fields"][0]["meaning"];
    }
    broker::ClientSettings other_client() const {
        return {.address = {"127.0.0.1", broker_->port()}, .tool = 16};
    }

    std::string description_;
    TemporaryFolder brokers_boards_;
    std::optional<RunningBroker> broker_;
};

struct ExampleBoard {
    const char *board;
    const char *description;
};

// How the test framework shows it.
void PrintTo(const ExampleBoard &example, std::ostream *out) {
    *out << example.description;
}

class BrokeredBoard : public Brokered, public testing::WithParamInterface<ExampleBoard> {
  protected:
    Words chips() const {
        Words names;
        const ProgramResult tree = through_broker({"--json", "tree", description_});
        const Json document = Json::parse(tree.output);
        for (const Json &chip : document["chips"]) {
            names.push_back(chip["name"]);
        }
        return names;
    }
};

// Muxes of every kind, byte orders, register numbers of both widths.
TEST_P(BrokeredBoard, ReadsAsWithoutTheBroker) {
    serve(GetParam().board, GetParam().description);
    size_t registers = 0;
    for (const std::string &chip : chips()) {
        const ProgramResult brokered = through_broker({"--json", "read", description_, chip});
        const ProgramResult direct = diagctl(
            {"--board", example_board(GetParam().board), "--json", "read", description_, chip});
        ASSERT_EQ(brokered.status, 0) << chip << brokered.errors;
        const Json document = Json::parse(brokered.output);
        EXPECT_EQ(document, Json::parse(direct.output)) << chip;
        registers += document["registers"].size();
    }
    EXPECT_GT(registers, 20U);
}

INSTANTIATE_TEST_SUITE_P(Examples, BrokeredBoard,
                         testing::Values(ExampleBoard{"edge_router.board", "edge_router.xml"},
                                         ExampleBoard{"io_carrier.board", "io_carrier.txt"}),
                         [](const auto &row) { return row.index == 0 ? "router" : "carrier"; });

TEST_F(Brokered, WritesRegistersAndFields) {
    serve_router();
    EXPECT_EQ(write("SYS_CPLD.LED_CTRL", "0").status, 0);
    const ProgramResult field = write("SYS_CPLD.LED_CTRL.FAN_LED", "amber");
    EXPECT_EQ(field.status, 0) << field.errors;
    EXPECT_EQ(field.output,
              "SYS_CPLD.LED_CTRL.FAN_LED = 0x2 (amber), register 0x20; read back and compared, "
              "bits 0xff\n");
    EXPECT_EQ(read_field("SYS_CPLD.LED_CTRL.FAN_LED"), "amber");
    EXPECT_TRUE(broker_status()["clients"][0]["holds"].empty()) << "the transaction has ended";
}

// Two programs that change different fields of one register take nothing from each other.
TEST_F(Brokered, LosesNoFieldThatAnotherProgramChanges) {
    serve_router();
    const auto keep_writing = [this](const std::string &field) {
        for (int i = 0; i < 10; ++i) {
            for (const char *value : {"off", "amber"}) {
                const ProgramResult result = write("SYS_CPLD.LED_CTRL." + field, value);
                // The other one may come between the write and the reading back of other bits.
                EXPECT_TRUE(result.status == 0 || result.status == 1) << result.errors;
            }
        }
    };
    auto other = std::async(std::launch::async, keep_writing, "FAN_LED");
    keep_writing("PSU_LED");
    other.wait();
    EXPECT_EQ(read_field("SYS_CPLD.LED_CTRL.FAN_LED"), "amber");
    EXPECT_EQ(read_field("SYS_CPLD.LED_CTRL.PSU_LED"), "amber");
}

TEST_F(Brokered, SaysWhoHoldsTheDevice) {
    serve_router({"--wait", "100"});
    broker::Client other(other_client());
    ASSERT_TRUE(other.reserve("2", 30).is_done());
    const ProgramResult result = write("SYS_CPLD.LED_CTRL", "0");
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors.rfind("diagctl: SYS_CPLD.LED_CTRL could not be written: tool 16 at "
                                  "127.0.0.1:",
                                  0),
              0U)
        << result.errors;
    EXPECT_NE(result.errors.find(", instance " + std::to_string(other.instance()) +
                                 " holds the device\n"),
              std::string::npos);
    EXPECT_EQ(through_broker({"read", description_, "PORT_CPLD"}).status, 0)
        << "another device is free";
}

TEST_F(Brokered, WaitsUntilTheDeviceIsGivenBack) {
    serve_router();
    broker::Client other(other_client());
    ASSERT_TRUE(other.reserve("2", 30).is_done());
    auto waiting = std::async(std::launch::async,
                              [this] { return write("SYS_CPLD.LED_CTRL.FAN_LED", "amber"); });
    std::string document;
    do {
        ASSERT_TRUE(other.read_status(&document).is_done());
    } while (Json::parse(document)["queue"].empty());
    ASSERT_TRUE(other.reserve("2", 0).is_done());
    const ProgramResult result = waiting.get();
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(Brokered, AnswersPings) {
    serve_router();
    const ProgramResult text = through_broker({"broker", "ping", "--count", "3"});
    EXPECT_EQ(text.status, 0) << text.errors;
    EXPECT_NE(text.output.find("3 of 3 answered"), std::string::npos) << text.output;
    const ProgramResult json = through_broker({"broker", "ping", "--json"});
    const Json document = Json::parse(json.output);
    EXPECT_EQ(document["format"], 1);
    EXPECT_EQ(document["command"], "broker");
    EXPECT_EQ(document["action"], "ping");
    EXPECT_EQ(document["address"], "127.0.0.1:" + std::to_string(broker_->port()));
    ASSERT_EQ(document["round_trips_us"].size(), 1U);
    EXPECT_GT(document["round_trips_us"][0], 0);
}

TEST_F(Brokered, ShowsItsStatus) {
    serve_router();
    broker::Client other(other_client());
    ASSERT_TRUE(other.reserve("2", 30).is_done());
    const ProgramResult text = through_broker({"broker", "status"});
    EXPECT_EQ(text.status, 0) << text.errors;
    for (const std::string &part :
         {description_, "127.0.0.1:" + std::to_string(broker_->port()), std::string("tool 16"),
          std::string("holds i2c 1 0x31 (reservation, "), std::string("no request waits"),
          std::string("performed ")}) {
        EXPECT_NE(text.output.find(part), std::string::npos) << part << "\n" << text.output;
    }
    EXPECT_EQ(broker_status()["format"], 1);
}

TEST_F(Brokered, DoesNotKnowAChipOfAnotherDescription) {
    serve_router();
    const ProgramResult result =
        through_broker({"read", diagctl_data("good_bus_kinds.xml"), "I2C_CHIP"});
    EXPECT_EQ(result.status, 5);
    EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
    EXPECT_NE(result.errors.find("the bus broker does not know the device"), std::string::npos);
}

}  // namespace
}  // namespace diag::test
