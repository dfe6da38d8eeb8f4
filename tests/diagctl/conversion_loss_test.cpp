// SPDX-License-Identifier: MIT
#include "diags/diagctl/conversion_loss.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

class Losing : public ::testing::Test {
  protected:
    Losing() {
        node_.pci_dev = -1;
        node_.pci_func = -1;
        node_.name = name_;
        node_.reg_list = &list_;
        list_.reg = &reg_;
        reg_.length = 1;
        reg_.bits = &bit_;
    }
    std::string loss() const { return conversion_loss({&node_, "PUMP"}); }

    char name_[64] = "PUMP";
    char text_[16] = "some";
    char blank_[16] = "  ";
    bit_def bit_{};
    reg_def reg_{};
    reg_list list_{};
    device_node node_{};
};

TEST_F(Losing, NothingSaysNothing) {
    EXPECT_EQ(loss(), "");
    node_.chip_id = blank_;
    node_.dev_id = blank_;
    reg_.version = blank_;
    EXPECT_EQ(loss(), "");
}

TEST_F(Losing, MuxesCountsThem) {
    mux_entry second{};
    mux_entry first{};
    node_.mux_list = &first;
    EXPECT_EQ(loss(), "not written: 1 mux");
    first.next = &second;
    EXPECT_EQ(loss(), "not written: 2 muxes");
}

TEST_F(Losing, SettingsOfTheChipNamesEach) {
    node_.bus_type = DIAG_BUS_MTD;
    node_.bus_no = 2;
    node_.offset_len = 16;
    node_.reg_le = 1;
    node_.dev_id = text_;
    EXPECT_EQ(loss(), "not written: bus mtd-2, offset length 16, endianness, device id");
}

TEST_F(Losing, ThePciFunctionIsNamed) {
    node_.bus_type = DIAG_BUS_PCI;
    node_.pci_dev = 0;
    node_.pci_func = 0;
    EXPECT_EQ(loss(), "not written: PCI device and function");
}

TEST_F(Losing, SettingsOfRegistersNamesEach) {
    node_.test_regs_b = &list_;
    reg_.length = 4;
    reg_.validate = 1;
    EXPECT_EQ(loss(), "not written: test roles, register lengths, validate flags");
}

TEST_F(Losing, TestDataWithoutARoleCountsAsOne) {
    reg_.test_data = 0x5A;
    EXPECT_EQ(loss(), "not written: test roles");
    reg_.test_data = 0;
    reg_.test_desc = text_;
    EXPECT_EQ(loss(), "not written: test roles");
}

TEST_F(Losing, TheAccessRmwIsNamedForRegistersAndFields) {
    reg_.access = DIAG_ACCESS_RMW;
    EXPECT_EQ(loss(), "not written: access RMW");
    reg_.access = DIAG_ACCESS_RW;
    bit_.access = DIAG_ACCESS_RMW;
    EXPECT_EQ(loss(), "not written: access RMW");
}

TEST_F(Losing, AMajorVersionIsLostUnlessTheNameTellsIt) {
    bit_.major_ver = 1;
    bit_.name = text_;
    EXPECT_EQ(loss(), "not written: major version flags");
    char telling[] = "MAJOR_VER";
    bit_.name = telling;
    EXPECT_EQ(loss(), "");
}

TEST_F(Losing, WhatIsReadAsSomethingElseIsToldApart) {
    node_.chip_id = text_;
    node_.version_mask = 0xFF;
    reg_.version = text_;
    std::snprintf(name_, sizeof name_, "A name of just more than thirty");
    EXPECT_EQ(loss(),
              "not read back: identifier, version register and mask, register versions, name "
              "beyond 30 characters");
    node_.reg_le = 1;
    EXPECT_EQ(loss().find("not written: endianness; not read back: identifier"), 0U);
}

}  // namespace
}  // namespace diag::diagctl
