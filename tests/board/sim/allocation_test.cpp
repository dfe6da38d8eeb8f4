// SPDX-License-Identifier: MIT
// The tools start for every access: opening a board and using it never asks for memory. The linker
// leads all that diag_board asks of the heap through the functions below.
#include <array>
#include <cstddef>
#include <gtest/gtest.h>

#include "diags/board/open_board.h"
#include "tests/board/sim/running_board.h"

namespace {

bool counting = false;
int allocations = 0;

void count() {
    allocations += counting ? 1 : 0;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's (--wrap)
extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t number, size_t size);
void *__real_realloc(void *memory, size_t size);
void *__real__Znwm(size_t size);
void *__real__Znam(size_t size);

void *__wrap_malloc(size_t size) {
    count();
    return __real_malloc(size);
}

void *__wrap_calloc(size_t number, size_t size) {
    count();
    return __real_calloc(number, size);
}

void *__wrap_realloc(void *memory, size_t size) {
    count();
    return __real_realloc(memory, size);
}

void *__wrap__Znwm(size_t size) {
    count();
    return __real__Znwm(size);
}

void *__wrap__Znam(size_t size) {
    count();
    return __real__Znam(size);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace diag::test {
namespace {

using board::Status;

// The number of accesses that did not succeed.
int use_every_kind(board::Board &board) {
    std::array<uint8_t, 4> data = {};
    bool is_high = false;
    board::IpmiResponse response;
    static constexpr std::array<uint8_t, 4> kRequest = {1, 0x50, 0, 4};
    const Status results[] = {
        board.i2c_transfer(
            {.bus = 1, .address = 0x50, .write = std::span(data).first(1), .read = data}),
        board.lpc_write(0x100, 1, data),
        board.lpc_read(0x100, 1, data),
        board.memory_write(0x100, 4, data),
        board.memory_read(0x100, 4, data),
        board.pci_write({1, 2, 3}, 0, 4, data),
        board.pci_read({1, 2, 3}, 0, 4, data),
        board.gpio_write(0, 1, true),
        board.gpio_read(0, 1, &is_high),
        board.ipmi_raw({0x38, 0x02, kRequest}, &response),
    };
    int failed = response.completion_code == 0 ? 0 : 1;
    for (const Status status : results) {
        failed += status == Status::kOk ? 0 : 1;
    }
    return failed;
}

TEST(Allocations, AreNotNeededToOpenAndUseABoard) {
    TreeMaker maker;
    for (const int32_t bus_type :
         {DIAG_BUS_I2C, DIAG_BUS_BMC, DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM}) {
        device_node &chip = maker.chip_on("CHIP", bus_type, 1, 0x50);
        chip.pci_dev = 2;
        chip.pci_func = 3;
        maker.reg(chip, "R", bus_type == DIAG_BUS_LPC || bus_type == DIAG_BUS_MEM ? 0xB0 : 0)
            .length = 4;
    }
    const RunningBoard running(maker, R"("gpio": {"0": {"1": 0}})");
    setenv(board::kBoardVariable, running.path().c_str(), 1);
    counting = true;
    board::BoardSlot slot;
    const Status status = slot.open();
    const int failed = status == Status::kOk ? use_every_kind(slot.board()) : -1;
    counting = false;
    EXPECT_EQ(status, Status::kOk);
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(allocations, 0);
}

TEST(Allocations, AreSeenByThisTest) {
    counting = true;
    delete new int(allocations);
    counting = false;
    EXPECT_EQ(allocations, 1);
}

}  // namespace
}  // namespace diag::test
