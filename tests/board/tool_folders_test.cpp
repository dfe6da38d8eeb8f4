// SPDX-License-Identifier: MIT
#include "diags/board/tool_folders.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace diag::board {
namespace {

TEST(ToolFolders, StandInFrontOfThePath) {
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    EXPECT_EQ(with_tool_folders("/a:/b"), own + ":" + own + "/sim:/a:/b");
}

}  // namespace
}  // namespace diag::board
