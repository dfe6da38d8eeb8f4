// SPDX-License-Identifier: MIT
#include "diags/board/status.h"

#include <cstring>
#include <gtest/gtest.h>

namespace diag::board {
namespace {

TEST(Status, TellsAnAbsentDeviceFromAFailedAccess) {
    EXPECT_EQ(exit_status_of(Status::kOk), kExitDone);
    EXPECT_EQ(exit_status_of(Status::kNoBoard), kExitNoDevice);
    EXPECT_EQ(exit_status_of(Status::kNoSuchBus), kExitNoDevice);
    EXPECT_EQ(exit_status_of(Status::kNotSupported), kExitNoDevice);
    EXPECT_EQ(exit_status_of(Status::kNoAnswer), kExitAccessFailed);
    EXPECT_EQ(exit_status_of(Status::kBadPec), kExitAccessFailed);
    EXPECT_EQ(exit_status_of(Status::kBusy), kExitBusy);
    EXPECT_EQ(exit_status_of(Status::kNotPermitted), kExitNotPermitted);
    EXPECT_EQ(exit_status_of(Status::kNotAState), kExitBadDescription);
    EXPECT_EQ(exit_status_of(Status::kDamaged), kExitBadDescription);
}

TEST(Status, SaysWhatToDoWithoutABoard) {
    EXPECT_NE(std::strstr(status_text(Status::kNoBoard), "DIAG_BOARD"), nullptr);
    EXPECT_NE(std::strstr(status_text(Status::kNoBoard), "diagctl --board FILE run"), nullptr);
}

}  // namespace
}  // namespace diag::board
