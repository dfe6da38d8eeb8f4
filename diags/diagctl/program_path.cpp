// SPDX-License-Identifier: MIT
#include "diags/diagctl/program_path.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#include "diags/board/tool_folders.h"
#include "diags/diagctl/cli_error.h"

namespace diag::diagctl {
namespace {

// What the C library searches when PATH is not set.
constexpr std::string_view kUsualPath = "/bin:/usr/bin";

std::string_view search_path() {
    const char *path = std::getenv("PATH");
    return path == nullptr ? kUsualPath : std::string_view(path);
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
    try {
        setenv("PATH", board::with_tool_folders(std::string(search_path())).c_str(), 1);
    } catch (const std::filesystem::filesystem_error &error) {
        fail(kExitAccessFailed, "the folder of this program cannot be found: {}",
             error.code().message());
    }
}

}  // namespace diag::diagctl
