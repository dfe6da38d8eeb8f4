// SPDX-License-Identifier: MIT
// GPIO lines, through gpiotool.
#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/fifo_reading.h"

namespace {

constexpr char kTool[] = "gpiotool";
constexpr diag::ReadingTexts kTexts = {"GPIO", "GPIO", false, "GPIO"};

}  // namespace

uint32_t gpiotool_get(int chip, int pin, const char *pipe_path, uint8_t *result) {
    return diag::read_through_fifo(
        __func__, kTexts, pipe_path, 1, result, [&](diag::CommandLine &command) {
            command.append("%s --get --chip=%d --pin=%d --pipe=%s", kTool, chip, pin, pipe_path);
        });
}

uint32_t gpiotool_set(unsigned int chip, unsigned int pin, const uint8_t *value,
                      bool busbroker_request) {
    diag::CommandLine command;
    command.append("%s --set --chip=%d --pin=%d --val=%d%s", kTool, static_cast<int>(chip),
                   static_cast<int>(pin), *value, busbroker_request ? " --busbroker_req" : "");
    diag_print(1, "Calling %s\n", command.text());
    const int status = diag::run_command(command.text());
    if (status != 0) {
        DIAG_ERROR("%s\nError Writing to GPIO\n", "FAILED <<<---");
        return static_cast<uint32_t>(status);
    }
    diag_print(1, "byte written to GPIO\n");
    return 0;
}
