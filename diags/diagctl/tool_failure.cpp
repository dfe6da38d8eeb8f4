// SPDX-License-Identifier: MIT
#include "diags/diagctl/tool_failure.h"

#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <sys/wait.h>

#include "diag_types.h"

#include "diags/diagctl/library_call.h"
#include "diags/diagctl/program_path.h"

namespace diag::diagctl {
namespace {

constexpr int kShellNotExecutable = 126;
constexpr int kShellNotFound = 127;
constexpr std::uint32_t kRefused = 0xFFFFFFFFU;

// The statuses that mean the same for a tool and for diagctl; a usage error of the tool, for one,
// is no usage error of ours.
ExitStatus status_of_exit(int exit_status) {
    switch (exit_status) {
        case kExitBadDescription:
        case kExitNotPermitted:
        case kExitNoDevice:
        case kExitBusy:
        case kExitTimedOut:
        case kExitInterrupted:
            return static_cast<ExitStatus>(exit_status);
        default:
            return kExitAccessFailed;
    }
}

ToolFailure signal_failure(const char *tool, int number) {
    if (number == SIGINT) {
        return {kExitInterrupted, fmt::format("{} was interrupted", tool)};
    }
    return {kExitAccessFailed,
            fmt::format("{} was ended by signal {} ({})", tool, number, strsignal(number))};
}

// A tool that cannot be started has no line of its own.
std::optional<ToolFailure> start_failure(const char *tool) {
    switch (find_program(tool)) {
        case ProgramSearch::kMissing:
            return ToolFailure{kExitAccessFailed, fmt::format("{} is not on PATH", tool)};
        case ProgramSearch::kNotExecutable:
            return ToolFailure{kExitAccessFailed, fmt::format("{} cannot be executed", tool)};
        case ProgramSearch::kFound:
            break;
    }
    return std::nullopt;
}

ToolFailure exit_failure(const char *tool, int exit_status, const CapturedText &said) {
    const std::string line = first_line(said.tools);
    const ExitStatus status = status_of_exit(exit_status);
    if (!line.empty()) {
        return {status, line};
    }
    if (exit_status == kShellNotFound || exit_status == kShellNotExecutable) {
        if (auto failure = start_failure(tool)) {
            return *failure;
        }
    }
    return {status, fmt::format("{} ended with status {} and said nothing", tool, exit_status)};
}

bool is_failure_of_library(std::uint32_t status) {
    return status == DIAG_E_FAIL || status == DIAG_E_NOMEM;
}

ToolFailure library_failure(const CapturedText &said) {
    return {kExitAccessFailed, library_error(said.library, "the library refuses the access")};
}

// The library hides some messages of a tool. Its user can bring them back.
std::string silence_text(const char *tool, const CapturedText &said) {
    const std::vector<std::string> commands = command_lines(said.library, tool);
    const std::size_t redirection =
        commands.empty() ? std::string::npos : commands.back().find(" 2>");
    if (redirection == std::string::npos) {
        return fmt::format("{} failed and said nothing", tool);
    }
    return fmt::format("{} failed, and its message is hidden; it was run as {}", tool,
                       commands.back().substr(0, redirection));
}

}  // namespace

ToolFailure read_failure(const char *tool, std::uint32_t status, const CapturedText &said) {
    if (status == kRefused || is_failure_of_library(status)) {
        return library_failure(said);
    }
    const int wait_status = static_cast<int>(status);
    if (WIFSIGNALED(wait_status)) {
        return signal_failure(tool, WTERMSIG(wait_status));
    }
    return exit_failure(tool, WEXITSTATUS(wait_status), said);
}

ToolFailure silent_read_failure(const char *tool, std::uint32_t status, const CapturedText &said) {
    return is_failure_of_library(status) ? library_failure(said) : write_failure(tool, said);
}

ToolFailure write_failure(const char *tool, const CapturedText &said) {
    const std::string line = first_line(said.tools);
    if (!line.empty()) {
        return {kExitAccessFailed, line};
    }
    if (auto failure = start_failure(tool)) {
        return *failure;
    }
    return {kExitAccessFailed, silence_text(tool, said)};
}

}  // namespace diag::diagctl
