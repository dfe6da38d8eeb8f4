// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <syslog.h>
#include <vector>

#include "diag_util.h"

#include "tests/common/library_test.h"

using diag::test::logged;
using diag::test::printed;
using diag::test::SyslogEntry;

namespace {

class DumpHex : public diag::test::LibraryTest {};

std::vector<uint8_t> counting(size_t length) {
    std::vector<uint8_t> data(length);
    std::iota(data.begin(), data.end(), uint8_t{0});
    return data;
}

struct Layout {
    int group_bits = 32;
    unsigned int base = 0;
    int show_address = 0;
    uint8_t item_size = 1;
};

// The vector is exactly as long as the dump: a read beyond it shows under AddressSanitizer.
std::string dump(const std::vector<uint8_t> &data, const Layout &layout) {
    return printed([&] {
        dump_hex(data.data(), layout.group_bits, static_cast<unsigned int>(data.size()),
                 layout.base, layout.show_address, layout.item_size, 0);
    });
}

TEST_F(DumpHex, ShowsAddressGroupsAndCharacters) {
    EXPECT_EQ(dump(counting(20), {.base = 0x1000, .show_address = 1}),
              "[00001000]: 0x00010203 0x04050607 0x08090a0b 0x0c0d0e0f  || ................\n"
              "[00001010]: 0x10111213  || ....\n");
}

TEST_F(DumpHex, FullLastLineIsFollowedByAnEmptyOne) {
    EXPECT_EQ(dump(counting(16), {}), "0x00010203 0x04050607 0x08090a0b 0x0c0d0e0f \n\n");
    EXPECT_EQ(dump(counting(16), {.show_address = 1}),
              "[00000000]: 0x00010203 0x04050607 0x08090a0b 0x0c0d0e0f  || ................\n\n");
}

TEST_F(DumpHex, NoDataIsALineEnd) {
    EXPECT_EQ(dump({}, {.show_address = 1}), "\n");
}

TEST_F(DumpHex, CharactersArePrintableOrADot) {
    const std::vector<uint8_t> data = {'A', 'z', ' ', '~', 0x7F, 0x1F, 0x80, 0xFF};
    EXPECT_EQ(dump(data, {.show_address = -1}), "[00000000]: 0x417a207e 0x7f1f80ff  || Az ~....\n");
}

TEST_F(DumpHex, PercentSignsAreCharacters) {
    EXPECT_EQ(dump({'%', 's', '%', 'n'}, {.show_address = 1}), "[00000000]: 0x2573256e  || %s%n\n");
}

TEST_F(DumpHex, IncompleteGroupIsNotShown) {
    EXPECT_EQ(dump(counting(6), {.show_address = 1}), "[00000000]: 0x00010203  || ......\n");
    EXPECT_EQ(dump(counting(3), {}), "\n");
}

TEST_F(DumpHex, GroupRunsAcrossLineEnds) {
    EXPECT_EQ(dump(counting(32), {.group_bits = 160}),
              "\n0x000102030405060708090a0b0c0d0e0f10111213 \n\n");
}

TEST_F(DumpHex, GroupBitsAreRoundedDownToBytesButAtLeastOne) {
    for (const int bits : {8, 15, 7, 1, 0, -8, -100}) {
        EXPECT_EQ(dump(counting(3), {.group_bits = bits}), "0x00 0x01 0x02 \n") << bits;
    }
    EXPECT_EQ(dump(counting(4), {.group_bits = 23}), "0x0001 0x0203 \n");
}

TEST_F(DumpHex, TwoByteItemsOverlap) {
    // Four items over offsets 0, 2, 4, 6; their data begin at bytes 0, 1, 2, 3.
    EXPECT_EQ(dump(counting(8), {.group_bits = 16, .item_size = 2}), "0x01000201\t0x03020403\t\n");
}

TEST_F(DumpHex, TwoByteItemsAreSigned) {
    EXPECT_EQ(dump({0x00, 0x80}, {.group_bits = 8, .item_size = 2}), "0xffff8000\t\n");
    EXPECT_EQ(dump({0xFF, 0x7F}, {.group_bits = 8, .item_size = 2}), "0x7fff\t\n");
}

TEST_F(DumpHex, FourByteItemsStepOneByteAndFourOffsets) {
    EXPECT_EQ(
        dump(counting(24), {.group_bits = 16, .base = 0x20, .show_address = 1, .item_size = 4}),
        "[00000020]: 0x30201004030201\t0x50403026050403\t\n"
        "[00000030]: 0x70605048070605\t\n");
}

TEST_F(DumpHex, FourByteItemsHaveAtLeastFourDigits) {
    EXPECT_EQ(dump({1, 0, 0, 0}, {.group_bits = 8, .item_size = 4}), "0x0001\t\n");
    EXPECT_EQ(dump({0xEF, 0xBE, 0xAD, 0xDE}, {.group_bits = 8, .item_size = 4}), "0xdeadbeef\t\n");
}

TEST_F(DumpHex, ItemsBeyondTheDataReadAsZero) {
    EXPECT_EQ(dump({0x12}, {.group_bits = 8, .item_size = 2}), "0x0012\t\n");
    EXPECT_EQ(dump({0x12, 0x34, 0x56}, {.group_bits = 8, .item_size = 4}), "0x563412\t\n");
}

TEST_F(DumpHex, WideItemsHaveNoCharacters) {
    EXPECT_EQ(dump(counting(4), {.group_bits = 8, .show_address = 1, .item_size = 2}),
              "[00000000]: 0x0100\t0x0201\t\n");
}

TEST_F(DumpHex, AddressWrapsAt32Bits) {
    EXPECT_EQ(dump(counting(17), {.group_bits = 1024, .base = 0xFFFFFFF8, .show_address = 1}),
              "[fffffff8]:  || ................\n[00000008]:  || .\n");
}

TEST_F(DumpHex, GroupLongerThanItsTextIsCut) {
    std::string group = "0x";
    for (int i = 0; i < 63; i++) {
        group += "ab";
    }
    group.resize(127);
    EXPECT_EQ(dump(std::vector<uint8_t>(96, 0xAB), {.group_bits = 96 * 8}),
              "\n\n\n\n\n" + group + "\n\n");
}

TEST_F(DumpHex, UnknownItemSizeDumpsNothing) {
    for (const uint8_t size : {uint8_t{0}, uint8_t{3}, uint8_t{8}}) {
        EXPECT_EQ(dump(counting(16), {.show_address = 1, .item_size = size}), "\n");
    }
}

TEST_F(DumpHex, GoesThroughTheLogAtItsLevel) {
    const std::vector<uint8_t> data = {0x41};
    set_verb_level(1);
    set_log_level(2);
    EXPECT_EQ(printed([&] { dump_hex(data.data(), 8, 1, 0, 1, 1, 2); }), "");
    const std::vector<SyslogEntry> pieces = {{LOG_INFO, "[00000000]: "},
                                             {LOG_INFO, "0x41 "},
                                             {LOG_INFO, " || "},
                                             {LOG_INFO, "A"},
                                             {LOG_INFO, "\n"}};
    EXPECT_EQ(logged(), pieces);
    set_verb_level(2);
    EXPECT_EQ(printed([&] { dump_hex(data.data(), 8, 1, 0, 0, 1, 2); }), "0x41 \n");
}

}  // namespace
