// SPDX-License-Identifier: MIT
// Raw requests to the board management controller.
#include "diags/board/sim/controller.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>

#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::IpmiResponse;
using board::Status;

struct Answer {
    uint8_t completion_code;
    Bytes data;
    bool operator==(const Answer &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Answer &answer) {
    out << "code " << int{answer.completion_code} << ", data";
    for (const uint8_t byte : answer.data) {
        out << ' ' << int{byte};
    }
    return out;
}

// BMC bus 3 has a chip with 8-bit register numbers, one with 16-bit ones, and one behind a mux. The
// host's bus 3 has another chip at the same address.
class ControllerTest : public testing::Test {
  protected:
    ControllerTest() : board_(describe(&maker_), kSettings) {}

    static constexpr const char *kSettings = R"(
        "chips": {"SILENT": {"no_answer": true}, "SLOW": {"delay_ms": 30}},
        "oem_registers": {"0x1234": "0x01020304", "0": 5})";

    static const TreeMaker &describe(TreeMaker *made) {
        TreeMaker &maker = *made;
        device_node &chip = maker.chip_on("CHIP", DIAG_BUS_BMC, 3, 0x50);
        maker.reg(chip, "ID", 0x10, 16, DIAG_ACCESS_RO).def_val = 0x0A1B;
        maker.reg(chip, "BLOCK", 0x20).length = 0xE0;
        device_node &wide = maker.chip_on("WIDE", DIAG_BUS_BMC, 3, 0xA0);
        wide.offset_len = 16;
        maker.reg(wide, "R", 0x1234, 16).def_val = 0xC0DE;
        maker.reg(wide, "S", 0x1000).def_val = 0x77;
        device_node &behind = maker.chip_on("BEHIND", DIAG_BUS_BMC, 3, 0x51);
        maker.mux(behind, "bmc-3", 0x70, 0, 0xFF, 2);
        maker.reg(behind, "R", 0).def_val = 0x99;
        maker.chip_on("SILENT", DIAG_BUS_BMC, 4, 0x52);
        maker.chip_on("SLOW", DIAG_BUS_BMC, 5, 0x53);
        maker.reg(maker.chip("HOST", 3, 0x50), "ID", 0x10).def_val = 0x55;
        return maker;
    }

    Answer ask(uint8_t net_fn, uint8_t command, const Bytes &data) {
        IpmiResponse response;
        response.completion_code = 0xEE;
        response.size = 0xEE;
        EXPECT_EQ(board_.board().ipmi_raw({net_fn, command, data}, &response), Status::kOk);
        return {response.completion_code,
                Bytes(response.data.begin(),
                      response.data.begin() + static_cast<std::ptrdiff_t>(response.size))};
    }

    Bytes read(uint8_t number, uint8_t count) {
        const Answer answer = ask(0x38, 0x02, {3, 0x50, number, count});
        EXPECT_EQ(answer.completion_code, 0);
        return answer.data;
    }

    TreeMaker maker_;
    RunningBoard board_;
};

TEST_F(ControllerTest, ReadsRegistersOfADevice) {
    EXPECT_EQ(read(0x10, 2), (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(read(0x10, 0), Bytes());
    EXPECT_EQ(read(0x20, 255).size(), 255U);
}

TEST_F(ControllerTest, WritesRegistersOfADevice) {
    const struct {
        uint8_t command;
        Bytes values;
    } writes[] = {{0x03, {0x11}}, {0x04, {0x22, 0x33}}, {0x07, {0x44}}, {0x08, {0x55, 0x66}}};
    for (const auto &write : writes) {
        Bytes data = {3, 0x50, 0x20};
        data.insert(data.end(), write.values.begin(), write.values.end());
        EXPECT_EQ(ask(0x38, write.command, data), (Answer{0, {}})) << int{write.command};
        EXPECT_EQ(read(0x20, static_cast<uint8_t>(write.values.size())), write.values);
    }
}

TEST_F(ControllerTest, WritesAndReadsInOneTransfer) {
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0x50, 2, 0x10}), (Answer{0, {0x0A, 0x1B}}));
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0xA0, 2, 0x12, 0x34}), (Answer{0, {0xC0, 0xDE}}));
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0xA0, 0, 0x12, 0x34, 0xAB, 0xCD}), (Answer{0, {}}));
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0xA0, 2, 0x12, 0x34}), (Answer{0, {0xAB, 0xCD}}));
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0xA0, 1}), (Answer{0, {0x00}})) << "goes on where it was";
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0x50, 0}), (Answer{0, {}})) << "asks whether it is there";
}

TEST_F(ControllerTest, TakesAPacketErrorCodeForData) {
    EXPECT_EQ(ask(0x3A, 0x01, {3, 0x50, 0, 0x20, 0x11, 0x9C}), (Answer{0, {}}));
    EXPECT_EQ(read(0x20, 2), (Bytes{0x11, 0x9C}));
}

TEST_F(ControllerTest, CompletesARegisterNumberThatIsCutShort) {
    EXPECT_EQ(ask(0x38, 0x02, {3, 0xA0, 0x10, 1}), (Answer{0, {0x77}}))
        << "a device with 16-bit numbers takes the byte for the high one";
}

TEST_F(ControllerTest, HasBusesOfItsOwn) {
    EXPECT_EQ(read(0x10, 1), Bytes{0x0A});
    EXPECT_EQ(board_.read_byte(3, 0x50, 0x10), 0x55) << "the host's bus 3";
    Bytes value(1);
    EXPECT_EQ(board_.transfer(3, 0xA0, {0}, &value), Status::kNoAnswer);
    EXPECT_EQ(board_.transfer(4, 0x52, {0}, &value), Status::kNoSuchBus);
}

TEST_F(ControllerTest, ReachesADeviceWhenItsMuxIsSet) {
    const Bytes request = {3, 0x51, 0, 1};
    EXPECT_EQ(ask(0x38, 0x02, request), (Answer{0xD3, {}}));
    EXPECT_EQ(ask(0x38, 0x03, {3, 0x70, 0, 2}), (Answer{0, {}}));
    EXPECT_EQ(ask(0x38, 0x02, request), (Answer{0, {0x99}}));
}

TEST_F(ControllerTest, HasRegistersOfItsOwn) {
    EXPECT_EQ(ask(0x3C, 0x18, {0x12, 0x34}), (Answer{0, {1, 2, 3, 4}}));
    EXPECT_EQ(ask(0x3C, 0x18, {0, 0}), (Answer{0, {0, 0, 0, 5}}));
    EXPECT_EQ(ask(0x3C, 0x19, {0x12, 0x34, 9, 8, 7, 6}), (Answer{0, {}}));
    EXPECT_EQ(ask(0x3C, 0x18, {0x12, 0x34}), (Answer{0, {9, 8, 7, 6}}));
    EXPECT_EQ(ask(0x3C, 0x18, {0, 0}), (Answer{0, {0, 0, 0, 5}}));
}

TEST_F(ControllerTest, RefusesWhatItDoesNotKnow) {
    const struct {
        const char *what;
        Bytes data;
        uint8_t net_fn;
        uint8_t command;
        uint8_t code;
    } refusals[] = {
        {"unknown net function", {}, 0x06, 0x01, 0xC1},
        {"net function beside one", {3, 0x50, 0x10, 1}, 0x39, 0x02, 0xC1},
        {"command 0x01 of 0x38", {3, 0x50, 0x10, 1}, 0x38, 0x01, 0xC1},
        {"command 0x05 of 0x38", {3, 0x50, 0x10, 1}, 0x38, 0x05, 0xC1},
        {"command 0x02 of 0x3a", {3, 0x50, 1, 0x10}, 0x3A, 0x02, 0xC1},
        {"command 0x1a of 0x3c", {0x12, 0x34}, 0x3C, 0x1A, 0xC1},
        {"read, too short", {3, 0x50, 0x10}, 0x38, 0x02, 0xC7},
        {"read, nothing", {}, 0x38, 0x02, 0xC7},
        {"read, too long", {3, 0x50, 0x10, 1, 0}, 0x38, 0x02, 0xC7},
        {"write of one, too short", {3, 0x50, 0x20}, 0x38, 0x03, 0xC7},
        {"write of one, too long", {3, 0x50, 0x20, 1, 2}, 0x38, 0x03, 0xC7},
        {"write of two, too short", {3, 0x50, 0x20, 1}, 0x38, 0x04, 0xC7},
        {"write of two, too long", {3, 0x50, 0x20, 1, 2, 3}, 0x38, 0x04, 0xC7},
        {"checked write of one, too short", {3, 0x50, 0x20}, 0x38, 0x07, 0xC7},
        {"checked write of one, too long", {3, 0x50, 0x20, 1, 2}, 0x38, 0x07, 0xC7},
        {"checked write of two, too short", {3, 0x50, 0x20, 1}, 0x38, 0x08, 0xC7},
        {"checked write of two, too long", {3, 0x50, 0x20, 1, 2, 3}, 0x38, 0x08, 0xC7},
        {"transfer, too short", {3, 0x50}, 0x3A, 0x01, 0xC7},
        {"own register, too short", {0x12}, 0x3C, 0x18, 0xC7},
        {"own register, too long", {0x12, 0x34, 0}, 0x3C, 0x18, 0xC7},
        {"write of an own register, too short", {0x12, 0x34, 1, 2, 3}, 0x3C, 0x19, 0xC7},
        {"write of an own register, too long", {0x12, 0x34, 1, 2, 3, 4, 5}, 0x3C, 0x19, 0xC7},
        {"no such bus", {9, 0x50, 0x10, 1}, 0x38, 0x02, 0xD3},
        {"no such device", {3, 0x4F, 0x10, 1}, 0x38, 0x02, 0xD3},
        {"silent device", {4, 0x52, 0x10, 1}, 0x38, 0x02, 0xD3},
        {"write to no device", {3, 0x4F, 0x10, 1}, 0x38, 0x03, 0xD3},
        {"transfer with no device", {3, 0x4F, 1, 0x10}, 0x3A, 0x01, 0xD3},
        {"no such own register", {0x12, 0x35}, 0x3C, 0x18, 0xCC},
        {"write of no own register", {0x12, 0x33, 1, 2, 3, 4}, 0x3C, 0x19, 0xCC},
        {"own register above all others", {0xFF, 0xFF}, 0x3C, 0x18, 0xCC},
    };
    for (const auto &refusal : refusals) {
        EXPECT_EQ(ask(refusal.net_fn, refusal.command, refusal.data), (Answer{refusal.code, {}}))
            << refusal.what;
    }
    EXPECT_EQ(read(0x20, 4), Bytes(4)) << "nothing was written";
    EXPECT_EQ(ask(0x3C, 0x18, {0x12, 0x34}), (Answer{0, {1, 2, 3, 4}}));
}

TEST_F(ControllerTest, TakesAsLongAsItsDevices) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(0x38, 0x02, {5, 0x53, 0, 1}).completion_code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(ControllerWithoutDevices, AnswersThatNobodyIsThere) {
    const TreeMaker maker;
    RunningBoard board(maker);
    IpmiResponse response;
    const Bytes read = {3, 0x50, 0x10, 1};
    EXPECT_EQ(board.board().ipmi_raw({0x38, 0x02, read}, &response), Status::kOk);
    EXPECT_EQ(response.completion_code, 0xD3);
    const Bytes own = {0, 0};
    EXPECT_EQ(board.board().ipmi_raw({0x3C, 0x18, own}, &response), Status::kOk);
    EXPECT_EQ(response.completion_code, 0xCC);
}

}  // namespace
}  // namespace diag::test
