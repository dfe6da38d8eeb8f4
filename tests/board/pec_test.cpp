// SPDX-License-Identifier: MIT
#include "diags/board/pec.h"

#include <array>
#include <gtest/gtest.h>

namespace diag::board {
namespace {

// The check value of CRC-8 with polynomial 0x07: "123456789" gives 0xF4.
TEST(Pec, AgreesWithTheCheckValueOfItsPolynomial) {
    uint8_t crc = 0;
    for (char c : {'1', '2', '3', '4', '5', '6', '7', '8', '9'}) {
        crc = pec_step(crc, static_cast<uint8_t>(c));
    }
    EXPECT_EQ(crc, 0xF4);
}

TEST(Pec, CoversTheAddressAsItGoesOverTheWire) {
    const std::array<uint8_t, 2> bytes = {0x02, 0x5A};
    const uint8_t by_hand = pec_step(pec_step(pec_step(0, 0x31 << 1), 0x02), 0x5A);
    EXPECT_EQ(write_pec(0x31, bytes), by_hand);
    EXPECT_NE(write_pec(0x32, bytes), by_hand);
}

}  // namespace
}  // namespace diag::board
