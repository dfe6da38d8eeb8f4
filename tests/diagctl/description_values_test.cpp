// SPDX-License-Identifier: MIT
#include "diags/diagctl/description_values.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

TEST(CheckHexadecimal, AcceptsWhatTheLibraryReadsToTheEnd) {
    for (const char *text : {"0", "1f", "1F", "0x1f", " 1f ", "ff\n", "00000000ffffffff"}) {
        EXPECT_EQ(check_hexadecimal(text), "") << text;
    }
}

TEST(CheckHexadecimal, RefusesWhatTheLibraryWouldReadOtherwise) {
    for (const char *text : {"0x", "0X1f", "\n1f", "\t1f", "1 f", "1,f", "-1", "1fh", "x1f"}) {
        EXPECT_EQ(check_hexadecimal(text), "is not hexadecimal") << text;
    }
    EXPECT_EQ(check_hexadecimal("100000000"), "does not fit 32 bits");
}

TEST(CheckNumber, TakesTheNotationsOfTheCLibrary) {
    for (const char *text : {"0", "10", "0x10", "010", " 7\n", "4294967295"}) {
        EXPECT_EQ(check_number(text), "") << text;
    }
    for (const char *text : {"ten", "0x", "08", "7 8"}) {
        EXPECT_EQ(check_number(text), "is not a number") << text;
    }
    for (const char *text : {"-1", "4294967296"}) {
        EXPECT_EQ(check_number(text), "does not fit 32 bits") << text;
    }
}

TEST(CheckRegisterSize, TakesTheThreeSizes) {
    for (const char *text : {"8", "16", "32", "0x10", "010"}) {
        EXPECT_EQ(check_register_size(text), "") << text;
    }
    for (const char *text : {"0", "1", "12", "64", "-8", "eight"}) {
        EXPECT_NE(check_register_size(text), "") << text;
    }
}

TEST(CheckLength, TakesFrom1To65536Units) {
    EXPECT_EQ(check_length("1"), "");
    EXPECT_EQ(check_length("65536"), "");
    for (const char *text : {"0", "-1", "65537", "many"}) {
        EXPECT_NE(check_length(text), "") << text;
    }
}

TEST(CheckChipBus, WantsTheNumberOfABusThatHasOne) {
    for (const char *text :
         {"/dev/i2c-1", "/dev/i2c-1f", "bmc-0", "mtd-2\n", "pci", "lpc", "spi"}) {
        EXPECT_EQ(check_chip_bus(text), "") << text;
    }
    for (const char *text : {"/dev/i2c", "/dev/i2c-", "/dev/i2c1", "bmc-x", "mtd", " lpc"}) {
        EXPECT_NE(check_chip_bus(text), "") << text;
    }
}

TEST(CheckMuxBus, WantsNoBlankAnywhere) {
    EXPECT_EQ(check_mux_bus("/dev/i2c-1"), "");
    for (const char *text : {" /dev/i2c-1", "/dev/i2c-1\n", "a b"}) {
        EXPECT_EQ(check_mux_bus(text), "contains a blank") << text;
    }
}

TEST(IsBlank, HoldsForNothingAndForWhiteSpace) {
    EXPECT_TRUE(is_blank(nullptr));
    EXPECT_TRUE(is_blank(""));
    EXPECT_TRUE(is_blank(" \t\r\n"));
    EXPECT_FALSE(is_blank(" x "));
}

}  // namespace
}  // namespace diag::diagctl
