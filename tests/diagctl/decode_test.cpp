// SPDX-License-Identifier: MIT
#include "diags/diagctl/decode.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(BitMask, CoversTheBitsIncludingBothEnds) {
    EXPECT_EQ(bit_mask(0, 0), 1U);
    EXPECT_EQ(bit_mask(4, 7), 0xF0U);
    EXPECT_EQ(bit_mask(0, 31), 0xFFFFFFFFU);
    EXPECT_EQ(bit_mask(31, 31), 0x80000000U);
}

TEST(BitMask, IsEmptyForBitsThatNoRegisterHas) {
    EXPECT_EQ(bit_mask(-1, 3), 0U);
    EXPECT_EQ(bit_mask(30, 32), 0U);
    EXPECT_EQ(bit_mask(4, 3), 0U);
}

TEST(Fields, AreTakenOutOfAValueAndPutIntoOne) {
    const Field field{"f", 4, 6, nullptr};
    EXPECT_EQ(extract(field, 0xD0), 5U);
    EXPECT_EQ(insert(field, 0xFF, 2), 0xAFU);
    EXPECT_EQ(insert(field, 0x00, 0xFF), 0x70U);
    const Field whole{"w", 0, 31, nullptr};
    EXPECT_EQ(extract(whole, 0xDEADBEEF), 0xDEADBEEFU);
    EXPECT_EQ(insert(whole, 0, 0xDEADBEEF), 0xDEADBEEFU);
}

TEST(ValueOfBytes, TakesTheBytesInTheirOrder) {
    const Bytes bytes{0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(value_of_bytes({bytes, ByteOrder::kHighFirst}), 0x12345678U);
    EXPECT_EQ(value_of_bytes({bytes, ByteOrder::kLowFirst}), 0x78563412U);
    EXPECT_EQ(value_of_bytes({{0x34, 0x12}, ByteOrder::kLowFirst}), 0x1234U);
    EXPECT_EQ(value_of_bytes({{0x12, 0x34}, ByteOrder::kHighFirst}), 0x1234U);
    EXPECT_EQ(value_of_bytes({{0xA5}, ByteOrder::kHighFirst}), 0xA5U);
}

TEST(BytesOfValue, AreWhatValueOfBytesReads) {
    EXPECT_EQ(bytes_of_value(0xA5, 1, ByteOrder::kLowFirst), Bytes{0xA5});
    EXPECT_EQ(bytes_of_value(0x1234, 2, ByteOrder::kLowFirst), (Bytes{0x34, 0x12}));
    EXPECT_EQ(bytes_of_value(0x12345678, 4, ByteOrder::kHighFirst),
              (Bytes{0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(bytes_of_value(0x12345678, 4, ByteOrder::kLowFirst), (Bytes{0x78, 0x56, 0x34, 0x12}));
}

class Decoding : public ::testing::Test {
  protected:
    const reg_def &ctrl() const { return test::register_named(find_chip(chips_, "PUMP"), "CTRL"); }
    Description chips_{test::diagctl_data("good_accesses.xml"), 0};
};

TEST_F(Decoding, NamesTheValueOfAField) {
    const auto fields = decode_fields(ctrl(), 0x90);
    ASSERT_EQ(fields.size(), 5U);
    EXPECT_EQ(fields[0].field.name, "BUSY");
    EXPECT_EQ(fields[0].value, 1U);
    EXPECT_EQ(fields[0].meaning, "");
    EXPECT_EQ(fields[2].field.name, "SPEED");
    EXPECT_EQ(fields[2].value, 1U);
    EXPECT_EQ(fields[2].meaning, "Slow");
}

TEST_F(Decoding, OrdersFieldsFromTheHighestBitDown) {
    Description names(test::diagctl_data("good_names.xml"), 0);
    const auto fields = sorted_fields(test::register_named(find_chip(names, "CPLD"), "ctrl"));
    ASSERT_EQ(fields.size(), 4U);
    for (std::size_t i = 1; i < fields.size(); ++i) {
        EXPECT_GT(fields[i - 1].high, fields[i].high);
    }
}

}  // namespace
}  // namespace diag::diagctl
