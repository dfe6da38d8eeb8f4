// SPDX-License-Identifier: MIT
// Addresses of the LPC bus, through lpctool.
#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/fifo_reading.h"

namespace {

constexpr char kTool[] = "lpctool";
constexpr diag::ReadingTexts kTexts = {"LPC", "LPC", false, "LPC"};

}  // namespace

uint32_t lpctool_get(unsigned int address, int count, char size, const char *pipe_path,
                     uint8_t *result) {
    const uint32_t status = diag::read_through_fifo(
        __func__, kTexts, pipe_path, count, result, [&](diag::CommandLine &command) {
            command.append("%s --get --addr=0x%08x --size=%c --count=%d --pipe=%s", kTool, address,
                           size, count, pipe_path);
        });
    const bool has_tool_failed = status != 0 && status != DIAG_E_FAIL && status != DIAG_E_NOMEM;
    return has_tool_failed ? LPC_E_ACCES : status;
}

uint32_t lpctool_set(unsigned int address, const uint8_t *data, unsigned int count, char size,
                     bool busbroker_request) {
    diag::CommandLine command;
    command.append("%s --write --addr=0x%08x --size=%c%s --val=", kTool, address, size,
                   busbroker_request ? " --busbroker_req " : "");
    command.append_values(data, static_cast<int>(count), diag::CommandLine::Padding::kNone);
    diag_print(1, "Calling %s\n", command.text());
    if (diag::run_command(command.text()) != 0) {
        DIAG_ERROR("%s\nError Writing to LPC\n", "FAILED <<<---");
        return LPC_E_ACCES;
    }
    diag_print(1, "%d bytes written to lpc\n", static_cast<int>(count));
    return 0;
}
