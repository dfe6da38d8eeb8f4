// SPDX-License-Identifier: MIT
#include "tests/board/sim/running_board.h"

#include <gtest/gtest.h>
#include <stdexcept>

#include "diags/board/sim/builder.h"

namespace diag::test {

using board::Status;

RunningBoard::RunningBoard(const TreeMaker &maker, const std::string &settings)
    : path_(folder_.file("board.state")) {
    const std::string text =
        R"({"description": "made by hand")" + (settings.empty() ? "" : ", " + settings) + "}";
    const auto file = board::sim::parse_board_file("test.board", text);
    board::sim::build_state(maker.tree(), file).write_to(path_);
    if (board_.open(path_.c_str()) != Status::kOk) {
        throw std::runtime_error("the state of a simulated board cannot be opened");
    }
}

Status RunningBoard::write(unsigned bus, uint8_t address, const Bytes &bytes) {
    return transfer(bus, address, bytes, nullptr);
}

Status RunningBoard::transfer(unsigned bus, uint8_t address, const Bytes &bytes, Bytes *read) {
    board::I2cTransfer transfer = {.bus = bus, .address = address, .write = bytes, .read = {}};
    if (read != nullptr) {
        transfer.read = *read;
    }
    return board_.i2c_transfer(transfer);
}

Bytes RunningBoard::read(unsigned bus, uint8_t address, const Bytes &number, size_t count) {
    Bytes result(count);
    EXPECT_EQ(transfer(bus, address, number, &result), Status::kOk);
    return result;
}

uint8_t RunningBoard::read_byte(unsigned bus, uint8_t address, uint8_t number) {
    return read(bus, address, {number}, 1)[0];
}

}  // namespace diag::test
