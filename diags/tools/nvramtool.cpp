// SPDX-License-Identifier: MIT
// nvramtool: hands the board's settings block to the program that asks for it.
#include <array>

#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] = R"(Usage: nvramtool --query --pipe=FIFO [--busbroker]

Writes the board's NVRAM block (1068 bytes) into FIFO.

  --query            read the block
  --pipe=FIFO        where to write it; somebody must have the FIFO open for reading
  --busbroker        the caller is the bus broker itself: ask the board, not the broker
  --help, --version
)";

constexpr const char kExample[] = R"(
Example:
  mkfifo /tmp/nv; od -A d -t x1 /tmp/nv & nvramtool --query --pipe=/tmp/nv
)";

constexpr const char *kHelp[] = {kUsage, kBoardHelp, kExample};

constexpr auto kRows = std::to_array<OptionRow<AccessOptions>>({
    {"query", no_argument, set_flag<&AccessOptions::read>, ""},
    {"pipe", required_argument, set_text<&AccessOptions::pipe_path>, ""},
    {"busbroker", no_argument, ignore, ""},
});

}  // namespace

ExitStatus run_nvramtool(int argc, char **argv) {
    AccessOptions options({"nvramtool", argv});
    if (const auto status = parse_options(argc, argv, kRows, kHelp, &options)) {
        return *status;
    }
    if (const auto status = check_rules({
            {!options.read, "--query is missing"},
            {options.pipe_path == nullptr, "--pipe is missing"},
        })) {
        return *status;
    }
    std::array<uint8_t, board::kNvramSize> block;
    const auto query = [&](const ToolBoard &board) {
        const board::Status status = board.buses.nvram_read(block);
        return status == board::Status::kOk ? kExitDone : report_failure(board, status, "NVRAM");
    };
    return run_access(options, block, query,
                      [](std::span<const uint8_t> bytes) { return print_hex(bytes); });
}

}  // namespace diag::tools
