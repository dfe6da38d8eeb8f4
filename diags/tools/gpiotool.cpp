// SPDX-License-Identifier: MIT
// gpiotool: the level of one GPIO line.
#include <cstdio>

#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] = R"(Usage: gpiotool --read  --chip=CHIP --pin=LINE [--pipe=FIFO]
       gpiotool --write --chip=CHIP --pin=LINE --val=0|1

Reads or sets one GPIO line. Its level is one byte, 0 or 1; without --pipe it is printed as a digit.

  --read             read the level
  --write            set the level
  --chip=CHIP        number of the GPIO chip
  --pin=LINE         number of the line on its chip
  --val=0|1          the level to set
)";

constexpr const char kExamples[] = R"(
Examples:
  gpiotool --read --chip=0 --pin=3
  gpiotool --write --chip=0 --pin=4 --val=1
)";

constexpr const char *kHelp[] = {kUsage, kAccessHelp, kBoardHelp, kExamples};

struct GpioOptions : AccessOptions {
    using AccessOptions::AccessOptions;
    std::optional<uint64_t> chip;
    std::optional<uint64_t> line;
    std::optional<uint64_t> level;
};

constexpr auto kRows =
    join(kAccessRows<GpioOptions>,
         std::to_array<OptionRow<GpioOptions>>({
             {"chip", required_argument, set_number<&GpioOptions::chip, UINT32_MAX>,
              "the number of a GPIO chip"},
             {"pin", required_argument, set_number<&GpioOptions::line, UINT32_MAX>,
              "the number of a line"},
             {"val", required_argument, set_number<&GpioOptions::level, 1>, "0 or 1"},
         }));

std::optional<ExitStatus> parse(int argc, char **argv, GpioOptions *options) {
    if (const auto status = parse_options(argc, argv, kRows, kHelp, options)) {
        return status;
    }
    if (const auto status = check_rules({
            one_operation(*options),
            {!options->chip, "--chip is missing"},
            {!options->line, "--pin is missing"},
        })) {
        return status;
    }
    return check_operation(*options, options->level.has_value());
}

ExitStatus access_result(const ToolBoard &board, board::Status status, unsigned chip,
                         unsigned line) {
    switch (status) {
        case board::Status::kOk:
            return kExitDone;
        case board::Status::kNotSupported:
            return report_failure(board, status, "GPIO");
        case board::Status::kNoSuchBus:
            return report(exit_status_of(status), "GPIO chip %u: no such chip", chip);
        default:
            break;
    }
    char place[sizeof "GPIO chip 4294967295 line 4294967295"];
    std::snprintf(place, sizeof place, "GPIO chip %u line %u", chip, line);
    return report_failure(board, status, place);
}

}  // namespace

ExitStatus run_gpiotool(int argc, char **argv) {
    GpioOptions options({"gpiotool", argv});
    if (const auto status = parse(argc, argv, &options)) {
        return *status;
    }
    const auto chip = static_cast<unsigned>(*options.chip);
    const auto line = static_cast<unsigned>(*options.line);
    uint8_t level = 0;
    const auto access = [&](const ToolBoard &board) {
        bool is_high = options.level == 1;
        const board::Status status = options.read ? board.buses.gpio_read(chip, line, &is_high)
                                                  : board.buses.gpio_write(chip, line, is_high);
        level = is_high ? 1 : 0;
        return access_result(board, status, chip, line);
    };
    return run_access(options, {&level, 1}, access, [](std::span<const uint8_t> byte) {
        return print(byte[0] == 1 ? "1\n" : "0\n");
    });
}

}  // namespace diag::tools
