// SPDX-License-Identifier: MIT
// Chips, registers and muxes that no access can reach: why, and that no tool is run for them.
#include "diags/diagctl/mux_steps.h"
#include "diags/diagctl/register_access.h"
#include "diags/diagctl/register_route.h"
#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

struct Verdict {
    const char *chip;
    const char *reg;
    int status;
    const char *message;
};

constexpr Verdict kRegisters[] = {
    {"IO_CHIP", "ID", 5, "chip \"IO_CHIP\": no tool program reaches bus io"},
    {"MTD_CHIP", "ID", 5, "chip \"MTD_CHIP\": no tool program reaches bus mtd-1"},
    {"STRANGE", "ID", 5, "chip \"STRANGE\": no tool program reaches bus unknown"},
    {"NO_FUNCTION", "ID", 3,
     "chip \"NO_FUNCTION\": its description names no PCI function (in the text form: "
     "bus:device.function)"},
    {"PCI_END", "ID", 3,
     "PCI_END.ID: address 0x1000 with 1 bytes lies beyond the end of the configuration space of "
     "4096 bytes"},
    {"PCI_END", "ACROSS", 3,
     "PCI_END.ACROSS: address 0xfff with 2 bytes lies beyond the end of the configuration space of "
     "4096 bytes"},
    {"PCI_END", "ODD", 3, "PCI_END.ODD: address 0xff1 is no multiple of the register's 2 bytes"},
    {"MEM_END", "ID", 3,
     "MEM_END.ID: address 0x100000000 with 1 bytes lies beyond the end of the memory addresses of "
     "32 bits"},
    {"MEM_END", "ODD", 3,
     "MEM_END.ODD: address 0xfffffffe with 4 bytes lies beyond the end of the memory addresses of "
     "32 bits"},
    {"LPC_END", "ID", 3,
     "LPC_END.ID: address 0xfffffffe with 4 bytes lies beyond the end of the LPC addresses of 32 "
     "bits"},
    {"BMC_FAR", "ID", 3, "chip \"BMC_FAR\": address 0x150 does not fit a bmc bus"},
    {"BMC_BUS", "ID", 3, "chip \"BMC_BUS\": a bus behind the controller has no number 256"},
    {"BMC_OFFSET", "ID", 3,
     "BMC_OFFSET.ID: offset 0x100 does not fit the chip's 8-bit register numbers"},
};

TEST(Unreachable, RegistersAreRefusedWithTheReason) {
    const Description chips(test::diagctl_data("good_unreachable.txt"), 0);
    for (const Verdict &verdict : kRegisters) {
        const Chip &chip = find_chip(chips, verdict.chip);
        const test::Failure failure =
            test::failure_of([&] { make_route(chip, test::register_named(chip, verdict.reg)); });
        EXPECT_EQ(failure.status, verdict.status) << verdict.message;
        EXPECT_EQ(failure.message, verdict.message);
    }
}

TEST(Unreachable, RegistersEndWhereTheLastOneThatCanBeReachedBegins) {
    const Description chips(test::diagctl_data("good_unreachable.txt"), 0);
    for (const char *name : {"PCI_END", "MEM_END"}) {
        const Chip &chip = find_chip(chips, name);
        EXPECT_NO_THROW(make_route(chip, test::register_named(chip, "LAST"))) << name;
    }
}

constexpr Verdict kMuxes[] = {
    {"BMC_NO_DASH", "", 3,
     "mux 1 of 1 (bmc address 0x70) on the way to chip \"BMC_NO_DASH\": its bus is no name, dash "
     "and decimal number from 0 to 255"},
    {"IPMI_NUMBER", "", 3,
     "mux 1 of 1 (ipmi-x address 0x70) on the way to chip \"IPMI_NUMBER\": its bus is no name, "
     "dash and decimal number from 0 to 255"},
    {"IPMI_LONG", "", 3,
     "mux 1 of 1 (ipmi-000000000000000000000000001 address 0x70) on the way to chip "
     "\"IPMI_LONG\": its bus is no name, dash and decimal number from 0 to 255"},
    {"IPMI_VALUE", "", 3,
     "mux 1 of 1 (ipmi-2 address 0x70) on the way to chip \"IPMI_VALUE\": val 0x102 does not fit "
     "8 bits"},
    {"GPIO_LEVEL", "", 3,
     "mux 1 of 1 (gpio address 0x01) on the way to chip \"GPIO_LEVEL\": val 0x02 is no level of a "
     "GPIO line, 0 or 1"},
    {"GPIO_LINE", "", 3,
     "mux 1 of 1 (gpio address 0x01) on the way to chip \"GPIO_LINE\": reg 0x80000000 does not "
     "fit 31 bits"},
    {"MEMORY_VALUE", "", 3,
     "mux 1 of 1 (mem address 0x1000) on the way to chip \"MEMORY_VALUE\": val 0x100 does not fit "
     "8 bits"},
    {"SPI_MUX", "", 5,
     "mux 1 of 1 (spi-1 address 0x70) on the way to chip \"SPI_MUX\": no tool program reaches bus "
     "spi-1"},
};

TEST(Unreachable, MuxesAreRefusedWithTheReason) {
    const Description chips(test::diagctl_data("good_unreachable.txt"), 0);
    for (const Verdict &verdict : kMuxes) {
        const Chip &chip = find_chip(chips, verdict.chip);
        const test::Failure failure = test::failure_of([&] { mux_steps(chip); });
        EXPECT_EQ(failure.status, verdict.status) << verdict.message;
        EXPECT_EQ(failure.message, verdict.message);
    }
}

}  // namespace
}  // namespace diag::diagctl
