// SPDX-License-Identifier: MIT
#include <array>
#include <cstring>
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/library_test.h"

using diag::test::error_text;
using diag::test::printed;

namespace {

class Bits : public diag::test::LibraryTest {};

constexpr std::array<uint8_t, 9> kDigits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

TEST_F(Bits, FieldIsTakenOutAndShiftedDown) {
    struct Case {
        int low;
        int high;
        unsigned int value;
        unsigned int field;
    };
    constexpr Case kCases[] = {
        {4, 7, 0xABCD, 0xC},
        {0, 31, 0xDEADBEEF, 0xDEADBEEF},
        {31, 31, 0x80000000, 1},
        {0, 0, 0xFFFFFFFE, 0},
        {0, 0, 3, 1},
        {16, 30, 0xFFFF0000, 0x7FFF},
        {8, 3, 0xFFFF, 0},  // the wrong way round: nothing is left after the shift
        {2, 3, 0xFF, 3},
    };
    for (const Case &test : kCases) {
        EXPECT_EQ(get_field_val(test.low, test.high, test.value), test.field)
            << test.low << ".." << test.high << " of " << test.value;
    }
}

TEST_F(Bits, FieldPositionsAreTakenModulo32) {
    EXPECT_EQ(get_field_val(0, 32, 0xFFFFFFFF), 1U);
    EXPECT_EQ(get_field_val(32, 31, 0x12345678), 0x12345678U);
    EXPECT_EQ(get_field_val(36, 39, 0xABCD), 0xCU);
    EXPECT_EQ(get_field_val(0, -1, 0x89ABCDEF), 0x89ABCDEFU);
    EXPECT_EQ(get_field_val(-1, 31, 0x80000000), 1U);
}

TEST_F(Bits, ByteFieldSeesTheLowByteOnly) {
    EXPECT_EQ(get_byte_field_val(4, 7, 0xABCD), 0xCU);
    EXPECT_EQ(get_byte_field_val(0, 15, 0xABCD), 0xCDU);
    EXPECT_EQ(get_byte_field_val(8, 15, 0xABCD), 0U);
}

TEST_F(Bits, MaskHasTheBitsOfTheRange) {
    EXPECT_EQ(prepare_mask(7, 4), 0xF0U);
    EXPECT_EQ(prepare_mask(31, 0), 0xFFFFFFFFU);
    EXPECT_EQ(prepare_mask(0, 0), 1U);
    EXPECT_EQ(prepare_mask(31, 31), 0x80000000U);
    EXPECT_EQ(prepare_mask(30, 0), 0x7FFFFFFFU);
}

TEST_F(Bits, MaskPositionsAreTakenModulo32) {
    EXPECT_EQ(prepare_mask(35, 32), 0xFU);
    EXPECT_EQ(prepare_mask(33, 30), 0xC0000003U);
    EXPECT_EQ(prepare_mask(70, 0), 0xFFFFFFFFU);
}

TEST_F(Bits, MaskThatEndsBeforeItStartsIsReported) {
    unsigned int mask = 1;
    EXPECT_EQ(printed([&] { mask = prepare_mask(3, 5); }),
              error_text("prepare_mask", "Start bit is greater than end bit\n"));
    EXPECT_EQ(mask, 0U);
}

TEST_F(Bits, LowByteIsReversed) {
    EXPECT_EQ(reverse_bits(0x01), 0x80U);
    EXPECT_EQ(reverse_bits(0x1234), 0x2CU);
    EXPECT_EQ(reverse_bits(0x0F), 0xF0U);
    EXPECT_EQ(reverse_bits(0x100), 0U);
    EXPECT_EQ(reverse_bits(-1), 0xFFU);
}

TEST_F(Bits, BufferIsCopied) {
    const uint8_t source[3] = {1, 2, 3};
    uint8_t dest[3] = {9, 9, 9};
    EXPECT_EQ(update_buf(dest, 2, source), 0U);
    EXPECT_EQ(dest[0], 1);
    EXPECT_EQ(dest[1], 2);
    EXPECT_EQ(dest[2], 9);
}

TEST_F(Bits, BufferWithoutSourceIsReported) {
    uint8_t dest = 9;
    uint32_t status = 0;
    EXPECT_EQ(printed([&] { status = update_buf(&dest, 1, nullptr); }),
              error_text("update_buf", "Input data pointer is NULL\n"));
    EXPECT_EQ(status, DIAG_E_INVAL);
    EXPECT_EQ(dest, 9);
}

TEST_F(Bits, HostIsTakenToBeLittleEndian) {
    EXPECT_EQ(is_host_be(), 0);
}

TEST_F(Bits, BytesAreSwappedAndShownAtLevel1) {
    set_verb_level(1);
    unsigned int swapped = 0;
    EXPECT_EQ(printed([&] { swapped = byte_swap(0x12345678, 32); }),
              "Byte Swapping 0x12345678 to 0x78563412\n");
    EXPECT_EQ(swapped, 0x78563412U);
    EXPECT_EQ(printed([&] { swapped = byte_swap(0x12345678, 16); }),
              "Byte Swapping 0x12345678 to 0x7856\n");
    EXPECT_EQ(swapped, 0x7856U);
    set_verb_level(0);
    EXPECT_EQ(printed([&] { byte_swap(0x12345678, 16); }), "");
}

TEST_F(Bits, SwapWidthIsItsLowByte) {
    EXPECT_EQ(byte_swap(0x12345678, 0x120), 0x78563412U);
    EXPECT_EQ(byte_swap(0x12345678, 0xFF10), 0x7856U);
}

TEST_F(Bits, UnknownSwapWidthIsReportedAndLeavesTheValue) {
    for (const unsigned int bits : {0U, 8U, 0x108U, 24U, 64U, 0xFFU}) {
        unsigned int swapped = 0;
        EXPECT_EQ(printed([&] { swapped = byte_swap(0x12345678, bits); }),
                  error_text("byte_swap", "Unspported Byte Swapping bits:" +
                                              std::to_string(bits & 0xFF) + "\n"));
        EXPECT_EQ(swapped, 0x12345678U);
    }
}

TEST_F(Bits, BytesBehindAPointerAreSwappedByWidth) {
    struct Case {
        int bits;
        uint64_t swapped;
        std::array<uint8_t, 8> stored;
    };
    constexpr Case kCases[] = {
        {8, 0x01, {1, 0, 0, 0, 0, 0, 0, 0}},
        {16, 0x0102, {2, 1, 0, 0, 0, 0, 0, 0}},
        {32, 0x01020304, {4, 3, 2, 1, 0, 0, 0, 0}},
        {64, 0x0102030405060708, {8, 7, 6, 5, 4, 3, 2, 1}},
        {0, 0x0102030405060708, {8, 7, 6, 5, 4, 3, 2, 1}},
        {24, 0x0102030405060708, {8, 7, 6, 5, 4, 3, 2, 1}},
    };
    for (const Case &test : kCases) {
        const std::array<uint8_t, 9> source = {0, 1, 2, 3, 4, 5, 6, 7, 8};  // not aligned below
        std::array<uint8_t, 8> dest{};
        EXPECT_EQ(byte_swap_p(source.data() + 1, dest.data(), test.bits), test.swapped);
        EXPECT_EQ(dest, test.stored) << test.bits;
    }
}

TEST_F(Bits, BytesBehindAPointerAreSwappedInPlace) {
    uint32_t value = 0x12345678;
    EXPECT_EQ(byte_swap_p(&value, &value, 32), 0x78563412U);
    EXPECT_EQ(value, 0x78563412U);
}

TEST_F(Bits, PacketErrorCodeHasItsCheckValues) {
    unsigned int crc = 0;
    for (const uint8_t digit : kDigits) {
        crc = crc8(crc, digit);
    }
    EXPECT_EQ(crc & 0xFF, 0xF4U);
    EXPECT_EQ(crc8(0, 0) & 0xFF, 0U);
    EXPECT_EQ(crc8(0, 1) & 0xFF, 0x07U);
    EXPECT_EQ(crc8(0x1FF, 0), crc8(0xFF, 0));
}

TEST_F(Bits, PacketErrorCodeFollowsTheData) {
    uint8_t buffer[4] = {0x00, 0x12, 0xEE, 0xEE};
    EXPECT_EQ(add_pec(0xA0, buffer, 2), 0);
    EXPECT_EQ(buffer[0], 0x00);
    EXPECT_EQ(buffer[1], 0x12);
    EXPECT_EQ(buffer[2], 0x36);
    EXPECT_EQ(buffer[3], 0xEE);
}

TEST_F(Bits, PacketErrorCodeUsesTheLowByteOfTheAddress) {
    uint8_t buffer[3] = {0x00, 0x12, 0};
    add_pec(0x7A0, buffer, 2);
    EXPECT_EQ(buffer[2], 0x36);
}

TEST_F(Bits, PacketErrorCodeOfNoDataIsThatOfTheAddress) {
    uint8_t buffer[1] = {0};
    EXPECT_EQ(add_pec(0x01, buffer, 0), 0);
    EXPECT_EQ(buffer[0], 0x07);
}

}  // namespace
