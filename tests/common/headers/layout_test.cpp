// SPDX-License-Identifier: MIT
// The layouts as a C++ program sees them, checked while compiling, and the fixed numbers.
#include <cstdint>
#include <gtest/gtest.h>
#include <type_traits>

#include "std_config_file.h"

#include "tests/common/headers/layout_board.h"
#include "tests/common/headers/layout_busbroker.h"
#include "tests/common/headers/layout_core.h"

namespace {

template <typename Field, typename Expected>
constexpr bool kIs = std::is_same_v<Field, Expected>;

// A width says nothing about the sign, and these fields hold -1.
static_assert(kIs<decltype(nvram_record::verb_level), std::int32_t>);
static_assert(kIs<decltype(mux_proc_entry::mux_kind), std::int32_t>);
static_assert(kIs<decltype(bit_def::start), std::int32_t>);
static_assert(kIs<decltype(bit_def::end), std::int32_t>);
static_assert(kIs<decltype(bit_def::access), std::int32_t>);
static_assert(kIs<decltype(reg_def::access), std::int32_t>);
static_assert(kIs<decltype(device_node::chip_type), std::int32_t>);
static_assert(kIs<decltype(device_node::bus_type), std::int32_t>);
static_assert(kIs<decltype(device_node::pci_dev), std::int32_t>);
static_assert(kIs<decltype(device_node::pci_func), std::int32_t>);
static_assert(kIs<decltype(control_config::kind), std::int32_t>);
static_assert(kIs<decltype(epoll_ctx::block_ms), int>);
static_assert(kIs<decltype(tool_info::sock_fd), int>);

static_assert(kIs<std_dll_compare, int (*)(const void *, const void *, unsigned int)>);
static_assert(kIs<rx_state_fn, std::uint32_t (*)(tool_info *, void *)>);
static_assert(kIs<rx_exit_fn, int (*)(tool_info *)>);
static_assert(kIs<epoll_fn, std::uint32_t (*)(int, epoll_ctx *, void *)>);
static_assert(kIs<decltype(tool_info::rx_sm), rx_state_fn>);
static_assert(
    kIs<decltype(tool_info::req_done), std::uint32_t (*)(tool_info *, void *, busbroker_req *)>);
static_assert(kIs<decltype(time_out_call::fn), void (*)(void *)>);
static_assert(kIs<decltype(json_obj::num_val), double>);

TEST(FixedNumbers, StatusCodesOfTheGeneralFamily) {
    EXPECT_EQ(DIAG_E_FAIL, 2315288576u);
    EXPECT_EQ(DIAG_E_PERM, DIAG_E_FAIL | 1u);
    EXPECT_EQ(DIAG_E_NOMEM, DIAG_E_FAIL | 12u);
    EXPECT_EQ(DIAG_E_ACCES, DIAG_E_FAIL | 13u);
    EXPECT_EQ(DIAG_E_INVAL, DIAG_E_FAIL | 22u);
}

TEST(FixedNumbers, StatusCodesOfTheOtherFamilies) {
    EXPECT_EQ(LPC_E_ACCES, 0x8601800Du);
    EXPECT_EQ(STD_CONFIG_E_BASE, 0x8C008000u);
    EXPECT_EQ(STD_CONFIG_E_NOENT, STD_CONFIG_E_BASE | 2u);
    EXPECT_EQ(STD_CONFIG_E_NOMEM, STD_CONFIG_E_BASE | 12u);
    EXPECT_EQ(STD_CONFIG_E_NOSECTION, 0x8C018000u);
    EXPECT_EQ(STD_CONFIG_E_TOOSMALL, 0x8C020000u);
}

TEST(FixedNumbers, RequestsAndTheirAnswers) {
    EXPECT_EQ(DIAG_REQ_READ, 2);
    EXPECT_EQ(DIAG_REQ_WRITE, 3);
    EXPECT_EQ(DIAG_REQ_DYN_DEV_ID, 5);
    EXPECT_EQ(DIAG_REQ_BUS_DEV_ACCESS, 6);
    EXPECT_EQ(DIAG_TRANSAC_FIRST, 1);
    EXPECT_EQ(DIAG_TRANSAC_NEXT, 2);
    EXPECT_EQ(DIAG_TRANSAC_LAST, 5);
    EXPECT_EQ(DIAG_EXPECT_NOTHING, 1);
    EXPECT_EQ(DIAG_EXPECT_ACK, 2);
    EXPECT_EQ(DIAG_EXPECT_SUCCESS, 4);
    EXPECT_EQ(DIAG_REQ_FLAGS_DEFAULT, 28);
    EXPECT_EQ(DIAG_HOLD_BY_ASSET, 30);
    EXPECT_EQ(DIAG_HOLD_BY_INDEX, 100);
    EXPECT_EQ(DIAG_RESP_SUCCESS, 1);
    EXPECT_EQ(DIAG_RESP_ACK, 2);
    EXPECT_EQ(DIAG_RESP_NOT_FOUND, 32);
    EXPECT_EQ(DIAG_RESP_REFUSED, 64);
    EXPECT_EQ(DIAG_RESP_MALFORMED, 128);
}

TEST(FixedNumbers, LimitsOfAFrame) {
    EXPECT_EQ(DIAG_REQ_TOOL_ID_MAX, 22);
    EXPECT_EQ(DIAG_REQ_PRIO_MAX, 2);
    EXPECT_EQ(DIAG_REQ_TYPE_MAX, 7);
    EXPECT_EQ(DIAG_REQ_TRANSAC_IND_MAX, 5);
    EXPECT_EQ(DIAG_REQ_NAME_MAX, 32);
}

TEST(FixedNumbers, StepsOfTheReceiveMachine) {
    EXPECT_EQ(DIAG_RX_MORE, 0);
    EXPECT_EQ(DIAG_RX_DONE, 1);
    EXPECT_EQ(DIAG_RX_ERROR, 2);
    EXPECT_EQ(DIAG_RX_STATE_BROKEN, 65535);
}

TEST(FixedNumbers, SlotsAndMuxesOfTheDeviceIdTree) {
    EXPECT_EQ(DIAG_PF_SLOT_PCI, 0);
    EXPECT_EQ(DIAG_PF_SLOT_LPC, 1);
    EXPECT_EQ(DIAG_PF_SLOT_MEM, 2);
    EXPECT_EQ(DIAG_PF_SLOT_GPIO, 3);
    EXPECT_EQ(DIAG_PF_SLOT_I2C, 4);
    EXPECT_EQ(DIAG_MUX_KIND_OTHER, -1);
    EXPECT_EQ(DIAG_MUX_KIND_PCA9547, 0);
    EXPECT_EQ(DIAG_MUX_KIND_PCA9548, 0);
    EXPECT_EQ(DIAG_MUX_KIND_PCA9541, 10);
}

TEST(FixedNumbers, ChipsBusesAndRegisters) {
    EXPECT_EQ(DIAG_CHIP_OTHER, -1);
    EXPECT_EQ(DIAG_CHIP_CPLD, 0);
    EXPECT_EQ(DIAG_CHIP_FPGA, 1);
    EXPECT_EQ(DIAG_CHIP_TPM, 2);
    EXPECT_EQ(DIAG_CHIP_NVRAM, 3);
    EXPECT_EQ(DIAG_BUS_OTHER, -1);
    EXPECT_EQ(DIAG_BUS_I2C, 0);
    EXPECT_EQ(DIAG_BUS_PCI, 1);
    EXPECT_EQ(DIAG_BUS_MEM, 2);
    EXPECT_EQ(DIAG_BUS_LPC, 3);
    EXPECT_EQ(DIAG_BUS_IO, 4);
    EXPECT_EQ(DIAG_BUS_MTD, 5);
    EXPECT_EQ(DIAG_BUS_BMC, 6);
    EXPECT_EQ(DIAG_ACCESS_OTHER, -1);
    EXPECT_EQ(DIAG_ACCESS_RO, 0);
    EXPECT_EQ(DIAG_ACCESS_RW, 1);
    EXPECT_EQ(DIAG_ACCESS_RC, 2);
    EXPECT_EQ(DIAG_ACCESS_RMW, 3);
    EXPECT_EQ(DIAG_ACCESS_WO, 4);
}

TEST(FixedNumbers, TestRolesOfRegisters) {
    EXPECT_EQ(DIAG_TEST_INTR_SETUP, 0);
    EXPECT_EQ(DIAG_TEST_INTR_STATUS, 1);
    EXPECT_EQ(DIAG_TEST_A_MODE1, 2);
    EXPECT_EQ(DIAG_TEST_A_MODE2, 3);
    EXPECT_EQ(DIAG_TEST_B, 4);
    EXPECT_EQ(DIAG_TEST_C, 5);
}

TEST(FixedNumbers, AddressingOfRegisters) {
    EXPECT_EQ(DIAG_ADDR_MODE_REG8, 0);
    EXPECT_EQ(DIAG_ADDR_MODE_REG16, 1);
    EXPECT_EQ(DIAG_ADDR_MODE_BLOCK, 2);
    EXPECT_EQ(DIAG_DATA_WIDTH_8, 0);
    EXPECT_EQ(DIAG_DATA_WIDTH_16, 1);
    EXPECT_EQ(DIAG_DATA_WIDTH_BLOCK, 2);
}

TEST(FixedNumbers, OptionalModules) {
    EXPECT_EQ(DIAG_OPT_MODULE_TABLE_MIN, 10u);
    EXPECT_EQ(DIAG_OPT_MODULE_ABSENT, 255u);
    EXPECT_EQ(DIAG_OPT_MODULE_NOT_SET, 0xFFFFFFFFu);
}

TEST(FixedNumbers, MailboxAndControl) {
    EXPECT_EQ(DIAG_FPGA_MODE_TEST, 0);
    EXPECT_EQ(DIAG_FPGA_MODE_NORMAL, 1);
    EXPECT_EQ(DIAG_MBOX_OP_WRITE, 0);
    EXPECT_EQ(DIAG_MBOX_OP_READ, 1);
    EXPECT_EQ(DIAG_MBOX_DEV_BYTE_CMD, 0);
    EXPECT_EQ(DIAG_MBOX_DEV_REGISTER, 1);
    EXPECT_EQ(DIAG_MBOX_DEV_PMBUS, 2);
    EXPECT_EQ(DIAG_MBOX_DEV_INDEX_NOT_SET, 0xFFFFFFFFu);
    EXPECT_EQ(DIAG_CONTROL_OTHER, -1);
    EXPECT_EQ(DIAG_CONTROL_I2C, 0);
    EXPECT_EQ(DIAG_CONTROL_LPC_MBOX, 1);
    EXPECT_EQ(DIAG_CONTROL_GPIO, 2);
    EXPECT_EQ(DIAG_CONTROL_BMC, 3);
    EXPECT_EQ(DIAG_CONTROL_REG_NOT_USED, 0xFFFFFFFFu);
}

TEST(FixedNumbers, TimersAndEvents) {
    EXPECT_EQ(DIAG_TIMER_SILENT, 0);
    EXPECT_EQ(DIAG_TIMER_TICK, 1);
    EXPECT_EQ(DIAG_TIMER_1_MS, 0);
    EXPECT_EQ(DIAG_TIMER_100_MS, 1);
    EXPECT_EQ(DIAG_TIMER_1_S, 2);
    EXPECT_EQ(DIAG_TIME_OUT_KEPT, 0);
    EXPECT_EQ(DIAG_TIME_OUT_EACH_TICK, 1);
    EXPECT_EQ(DIAG_TIME_OUT_TENTH_TICK, 2);
    EXPECT_EQ(DIAG_EPOLL_READ, 1);
    EXPECT_EQ(DIAG_EPOLL_WRITE, 4);
    EXPECT_EQ(DIAG_EPOLL_HUP, 16);
}

TEST(FixedNumbers, ListMarkAndJsonTypes) {
    EXPECT_EQ(DIAG_STD_DLL_MAGIC, 0xF10D1F10u);
    EXPECT_EQ(DIAG_JSON_FALSE, 0);
    EXPECT_EQ(DIAG_JSON_TRUE, 1);
    EXPECT_EQ(DIAG_JSON_NUMBER, 2);
    EXPECT_EQ(DIAG_JSON_STRING, 3);
    EXPECT_EQ(DIAG_JSON_ARRAY, 4);
    EXPECT_EQ(DIAG_JSON_OBJECT, 5);
    EXPECT_EQ(DIAG_JSON_NULL, 6);
}

TEST(FixedNumbers, RoomOfBuffersAndTables) {
    EXPECT_EQ(SYS_CMD_MAX_SIZE, 2048);
    EXPECT_EQ(PF_TREE_SLOTS, 30);
    EXPECT_EQ(PROC_INFO_SLOTS, 25);
}

}  // namespace
