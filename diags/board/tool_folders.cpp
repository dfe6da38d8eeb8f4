// SPDX-License-Identifier: MIT
#include "diags/board/tool_folders.h"

#include <filesystem>
#include <unistd.h>

#ifndef DIAG_BOARD_TOOLS_FOLDER
#error "DIAG_BOARD_TOOLS_FOLDER is to be defined by the build"
#endif

namespace diag::board {
namespace {

// A build tree has the tools below, an installation where it has programs that other programs run.
std::string board_tools_folder(const std::string &own) {
    const std::string built = own + "/sim";
    return access(built.c_str(), X_OK) == 0 ? built : own + "/" DIAG_BOARD_TOOLS_FOLDER;
}

}  // namespace

std::string with_tool_folders(const std::string &path) {
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return own + ":" + board_tools_folder(own) + ":" + path;
}

}  // namespace diag::board
