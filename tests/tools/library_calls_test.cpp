// SPDX-License-Identifier: MIT
// The library's calls and the tools together: each call finds its tool through PATH and gets from a
// simulated board what it asked for.
#include <cstdlib>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class LibraryCallsTest : public ToolFixture {
  protected:
    LibraryCallsTest() {
        setenv("DIAG_BOARD", board_->path().c_str(), 1);
        setenv("PATH", DIAG_TOOLS_DIR "/sim:" DIAG_TOOLS_DIR ":/usr/bin:/bin", 1);
    }

    const std::string pipe_ = folder_.file("fifo");
};

TEST_F(LibraryCallsTest, I2cRegisters) {
    const uint8_t value = 0x5A;
    uint8_t read = 0;
    EXPECT_EQ(i2ctool_set("/dev/i2c-1", 0x31, 2, &reg8_data8, &value, 1, 1, false), 0);
    EXPECT_EQ(i2ctool_get("/dev/i2c-1", 0x31, 2, &reg8_data8, 1, pipe_.c_str(), &read), 0U);
    EXPECT_EQ(read, value);
}

TEST_F(LibraryCallsTest, GpioLines) {
    const uint8_t low = 0;
    uint8_t level = 0xEE;
    EXPECT_EQ(gpiotool_get(0, 3, pipe_.c_str(), &level), 0U);
    EXPECT_EQ(level, 1);
    EXPECT_EQ(gpiotool_set(0, 3, &low, false), 0U);
    EXPECT_EQ(gpiotool_get(0, 3, pipe_.c_str(), &level), 0U);
    EXPECT_EQ(level, 0);
    const uint8_t neither = 2;
    EXPECT_NE(gpiotool_set(0, 3, &neither, false), 0U);
}

TEST_F(LibraryCallsTest, LpcBytes) {
    const uint8_t values[] = {0x05, 0x1A};
    Bytes read(2);
    EXPECT_EQ(lpctool_set(0x1205, values, 2, 'b', false), 0U);
    EXPECT_EQ(lpctool_get(0x1205, 2, 'b', pipe_.c_str(), read.data()), 0U);
    EXPECT_EQ(read, (Bytes{0x05, 0x1A}));
    read.resize(4);
    EXPECT_EQ(lpctool_get(0x1200, 4, 'l', pipe_.c_str(), read.data()), 0U);
    EXPECT_EQ(read, (Bytes{0x78, 0x56, 0x34, 0x12}));
    EXPECT_NE(lpctool_get(0x9999, 1, 'b', pipe_.c_str(), read.data()), 0U);
}

TEST_F(LibraryCallsTest, PciConfigurationSpace) {
    const uint8_t values[] = {0x12, 0x34};
    Bytes read(4);
    EXPECT_EQ(pcitool_set(0, 31, 3, 0x40, values, 2, false, 16), 0U);
    EXPECT_EQ(pcitool_get(0, 31, 3, 0x40, read.data(), pipe_.c_str(), 4, 32), 0U);
    EXPECT_EQ(read, (Bytes{0x12, 0x34, 0, 0}));
}

TEST_F(LibraryCallsTest, MemoryItems) {
    const uint32_t words[] = {1, 0xDEADBEEF};
    EXPECT_EQ(memtool_set(0x1000, 32, words, 2, false), 0U);
    Bytes read(8);
    EXPECT_EQ(memtool_get(0x1000, 2, 32, pipe_.c_str(), false, read.data()), 0U);
    EXPECT_EQ(read, (Bytes{1, 0, 0, 0, 0xEF, 0xBE, 0xAD, 0xDE}));
    EXPECT_EQ(memtool_get(0x1000, 1, 64, pipe_.c_str(), true, read.data()), 0U);
    EXPECT_EQ(read, (Bytes{0xDE, 0xAD, 0xBE, 0xEF, 0, 0, 0, 1}));
    const uint64_t wide = 0x0102030405060708;
    EXPECT_EQ(memtool_set(0x1008, 64, &wide, 1, false), 0U);
    EXPECT_EQ(memtool_get(0x1008, 8, 8, pipe_.c_str(), false, read.data()), 0U);
    EXPECT_EQ(read, (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(LibraryCallsTest, DevicesBehindTheController) {
    const Bytes values = {0x0A, 0x1B, 0x2C, 0x3D};
    Bytes read(255);
    for (const unsigned with_pec : {0U, 1U}) {
        EXPECT_EQ(ipmitool_set("ipmi-3", 0x50, 0x10, &reg8_data8, values.data(), 4, with_pec), 0U);
    }
    EXPECT_EQ(ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 4, pipe_.c_str(), read.data()), 0U);
    EXPECT_EQ(Bytes(read.begin(), read.begin() + 4), values);
    EXPECT_NE(ipmitool_get("ipmi-3", 0x51, 0x10, &reg8_data8, 4, pipe_.c_str(), read.data()), 0U);
}

TEST_F(LibraryCallsTest, TransfersThroughTheController) {
    Bytes values(40);
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<uint8_t>(0xC0 + i);
    }
    EXPECT_EQ(ipmii2c_set("bmc-3", 0x50, 0x20, &reg8_data8, values.data(), 40, 0), 0U);
    Bytes read(40);
    EXPECT_EQ(ipmii2c_get("bmc-3", 0x50, 0x20, &reg8_data8, 40, pipe_.c_str(), read.data()), 0U);
    EXPECT_EQ(read, values) << "three lines of text";
}

// A code from 0x80 on is printed as a negative number. To a chip that takes what comes it is one
// more data byte.
TEST_F(LibraryCallsTest, PacketErrorCodesBehindTheController) {
    for (const uint8_t value : Bytes{0x00, 0x01, 0x02, 0x40, 0x55, 0xFF}) {
        uint8_t expected[2] = {value};
        add_pec(0x50, expected, 1);
        EXPECT_EQ(ipmii2c_set("bmc-3", 0x50, 0x20, &reg8_data8, &value, 1, 1), 0U);
        Bytes read(2);
        EXPECT_EQ(ipmii2c_get("bmc-3", 0x50, 0x20, &reg8_data8, 2, pipe_.c_str(), read.data()), 0U);
        EXPECT_EQ(read, (Bytes{expected[0], expected[1]}));
    }
}

TEST_F(LibraryCallsTest, RegistersOfTheController) {
    Bytes read(255);
    const uint8_t values[] = {5, 6, 7, 8};
    EXPECT_EQ(ipmitool_get(nullptr, 0x18, 0x1234, &reg8_data8, 4, pipe_.c_str(), read.data()), 0U);
    EXPECT_EQ(Bytes(read.begin(), read.begin() + 4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(ipmitool_set(nullptr, 0x19, 0x1234, &reg8_data8, values, 4, 0), 0U);
    const uint8_t number[] = {0x12, 0x34};
    Bytes answer(4);
    EXPECT_EQ(ipmitool2_get(0x3C, 0x18, 2, number, 4, answer.data()), 0U);
    EXPECT_EQ(answer, (Bytes{5, 6, 7, 8}));
}

}  // namespace
}  // namespace diag::test
