// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/status_document.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

struct FootprintCase {
    Footprint footprint;
    const char *text;
};

TEST(FootprintText, TellsEachKindOfPlace) {
    for (const FootprintCase &row : {
             FootprintCase{{BusKind::kI2c, 3, 0x50, 0x51}, "i2c 3 0x50"},
             FootprintCase{{BusKind::kI2c, 3, 7, 8}, "i2c 3 0x07"},
             FootprintCase{{BusKind::kI2c, 3, 0, 0x100}, "i2c 3"},
             FootprintCase{{BusKind::kBmc, 4, 0x2E, 0x2F}, "bmc 4 0x2e"},
             FootprintCase{{BusKind::kLpc, 0, 0x300, 0x320}, "lpc 0x300-0x31f"},
             FootprintCase{{BusKind::kLpc, 0, 0, kEndOfBus}, "lpc"},
             FootprintCase{{BusKind::kMemory, 0, 0x10, 0x11}, "mem 0x10"},
             FootprintCase{{BusKind::kMemory, 0, 0, kEndOfBus}, "mem"},
             FootprintCase{{BusKind::kPci, 3 << 8 | 0x1F << 3 | 7, 0, 1}, "pci 03:1f.7"},
             FootprintCase{{BusKind::kGpio, 2, 17, 18}, "gpio 2 line 17"},
             FootprintCase{{BusKind::kGpio, 2, 0, kEndOfBus}, "gpio 2"},
         }) {
        EXPECT_EQ(footprint_text(row.footprint), row.text);
    }
}

}  // namespace
}  // namespace diag::daemon
