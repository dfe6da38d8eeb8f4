// SPDX-License-Identifier: MIT
// PCI configuration space, through pcitool.
#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/tools/fifo_reading.h"

namespace {

constexpr char kTool[] = "pcitool";
constexpr diag::ReadingTexts kTexts = {"PCI", "PCI", true, nullptr};

}  // namespace

// Bus, device and function are decimal here and hexadecimal in a write; the tool takes both.
uint32_t pcitool_get(int bus, int device, int function, unsigned int offset, uint8_t *result,
                     const char *pipe_path, unsigned int count, int width) {
    const auto wanted = static_cast<int>(count);
    return diag::read_through_fifo(
        __func__, kTexts, pipe_path, wanted, result, [&](diag::CommandLine &command) {
            command.append(
                "%s --get --bus=%d --dev=%d --func=%d --offset=0x%02x --pipe=%s --count=%d "
                "--width=%d",
                kTool, bus, device, function, offset, pipe_path, wanted, width);
            diag_print(1, "pcitool_get: %s\n", command.text());
        });
}

uint32_t pcitool_set(unsigned int bus, unsigned int device, unsigned int function,
                     unsigned int offset, const uint8_t *data, int count, bool busbroker_request,
                     int width) {
    diag::CommandLine command;
    command.append("%s --write --bus=0x%02x --dev=0x%02x --func=0x%02x --offset=0x%02x", kTool, bus,
                   device, function, offset);
    if (busbroker_request) {
        command.append(" --busbroker_req --width=%d", width);
    }
    command.append(" --val=");
    command.append_values(data, count, diag::CommandLine::Padding::kTwoDigits);
    if (get_debug_enable() != 0) {
        diag_print(0, "%s\n", command.text());
        return 0;
    }
    diag_print(1, "pcitool_set: %s\n", command.text());
    return diag::run_command(command.text()) != 0 ? 0xFFFFFFFFU : 0;
}
