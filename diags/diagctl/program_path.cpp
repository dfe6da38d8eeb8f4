// SPDX-License-Identifier: MIT
#include "diags/diagctl/program_path.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"

#ifndef DIAGCTL_BOARD_TOOLS_FOLDER
#error "DIAGCTL_BOARD_TOOLS_FOLDER is to be defined by the build"
#endif

namespace diag::diagctl {
namespace {

// What the C library searches when PATH is not set.
constexpr std::string_view kUsualPath = "/bin:/usr/bin";

std::string_view search_path() {
    const char *path = std::getenv("PATH");
    return path == nullptr ? kUsualPath : std::string_view(path);
}

std::string own_folder() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0) {
        fail(kExitAccessFailed, "the folder of this program cannot be found: {}",
             std::strerror(errno));
    }
    const std::string_view file(path.data(), static_cast<std::size_t>(length));
    return std::string(file.substr(0, file.rfind('/')));
}

// A build tree has the tools below, an installation where it has programs that other programs run.
std::string board_tools_folder(const std::string &own) {
    const std::string built = own + "/sim";
    return access(built.c_str(), X_OK) == 0 ? built : own + "/" DIAGCTL_BOARD_TOOLS_FOLDER;
}

}  // namespace

ProgramSearch find_program(std::string_view program) {
    ProgramSearch result = ProgramSearch::kMissing;
    std::string_view rest = search_path();
    for (bool more = true; more;) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const std::string_view folder = rest.substr(0, end);
        more = end < rest.size();
        rest.remove_prefix(more ? end + 1 : end);
        std::string file(folder.empty() ? "." : folder);
        file.append("/").append(program);
        if (access(file.c_str(), X_OK) == 0) {
            return ProgramSearch::kFound;
        }
        if (access(file.c_str(), F_OK) == 0) {
            result = ProgramSearch::kNotExecutable;
        }
    }
    return result;
}

void put_board_folders_on_path() {
    const std::string own = own_folder();
    const std::string path = own + ":" + board_tools_folder(own) + ":" + std::string(search_path());
    setenv("PATH", path.c_str(), 1);
}

}  // namespace diag::diagctl
