// SPDX-License-Identifier: MIT
// nvramtool: hands the board's settings block to the program that asks for it.
#include <array>
#include <getopt.h>

#include "diags/board/open_board.h"
#include "diags/tools/report.h"
#include "diags/tools/result_pipe.h"

namespace diag::tools {
namespace {

constexpr const char *kHelp = R"(Usage: nvramtool --query --pipe=FIFO [--busbroker]

Writes the board's NVRAM block (1068 bytes) into FIFO.

  --query        read the block
  --pipe=FIFO    where to write it; somebody must have the FIFO open for reading
  --busbroker    the caller is the bus broker itself: ask the board, not the broker
  --help, --version

The board is the one whose running state file DIAG_BOARD names.
Exit status: 0 done, 2 usage, 3 unusable state file, 4 not permitted, 5 no board, 6 access failed,
7 board held by another program, 8 timed out.

Example:
  mkfifo /tmp/nv; od -A d -t x1 /tmp/nv & nvramtool --query --pipe=/tmp/nv
)";

enum OptionCode { kQuery = 1, kPipe, kBusbroker, kHelpOption, kVersion };

constexpr option kOptions[] = {
    {"query", no_argument, nullptr, kQuery},         {"pipe", required_argument, nullptr, kPipe},
    {"busbroker", no_argument, nullptr, kBusbroker}, {"help", no_argument, nullptr, kHelpOption},
    {"version", no_argument, nullptr, kVersion},     {nullptr, 0, nullptr, 0},
};

ExitStatus query(const char *pipe_path) {
    board::BoardSlot slot;
    if (const board::Status status = slot.open(); status != board::Status::kOk) {
        return report(exit_status_of(status), "%s: %s", slot.subject(), status_text(status));
    }
    ResultPipe pipe;
    if (const ExitStatus status = pipe.open(pipe_path); status != kExitDone) {
        return status;
    }
    std::array<uint8_t, board::kNvramSize> block;
    if (const board::Status status = slot.board().nvram_read(block); status != board::Status::kOk) {
        return report(exit_status_of(status), "NVRAM: %s", status_text(status));
    }
    return pipe.write(block);
}

ExitStatus run(int argc, char **argv) {
    bool wants_query = false;
    const char *pipe_path = nullptr;
    opterr = 0;
    for (int code = 0; (code = getopt_long(argc, argv, ":", kOptions, nullptr)) != -1;) {
        switch (code) {
            case kQuery:
                wants_query = true;
                break;
            case kPipe:
                pipe_path = optarg;
                break;
            case kBusbroker:
                break;
            case kHelpOption:
                return print(kHelp);
            case kVersion:
                return print_version();
            default:
                return refuse_option(code, argv);
        }
    }
    if (optind < argc) {
        return usage_error("unexpected argument '%s'", argv[optind]);
    }
    if (!wants_query) {
        return usage_error("--query is missing");
    }
    return pipe_path != nullptr ? query(pipe_path) : usage_error("--pipe is missing");
}

}  // namespace
}  // namespace diag::tools

int main(int argc, char **argv) {
    return diag::tools::run(argc, argv);
}
