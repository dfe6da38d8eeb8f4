// SPDX-License-Identifier: MIT
// Any raw request to the board management controller, with its response.
#include <string_view>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/ipmi_text.h"

namespace {

using diag::CommandLine;
using diag::PrintedText;

constexpr char kFunction[] = "ipmitool2_get";
constexpr uint32_t kFailed = 0xFFFFFFFFU;
constexpr size_t kMostOfLine = PrintedText::kMost - 1;

// A dry run runs the tool all the same, but shows the command and calls every end a success.
uint32_t end_of_run(const CommandLine &command, uint32_t status) {
    if (get_debug_enable() == 0) {
        return status;
    }
    DIAG_ERROR_IN(kFunction, "%s\n", command.text());
    return 0;
}

uint32_t no_response(const CommandLine &command, int length) {
    if (length == 0) {
        diag_print(2, "%d bytes read from the fifo\n", 0);
        return end_of_run(command, 0);
    }
    diag_print(2, "%s\nError Reading %d bytes from IPMII2C\n", "FAILED <<<---", 0);
    return end_of_run(command, kFailed);
}

// Bytes that the line does not hold become 0.
uint32_t take_response(const CommandLine &command, const PrintedText &line, int length,
                       uint8_t *response) {
    switch (line.at(0)) {
        case '\n':
            return 0;  // an answer without data
        case ' ':
            break;
        default:
            return kFailed;  // the tool tells what is wrong
    }
    if (length <= 0) {
        return no_response(command, length);
    }
    for (int i = 0; i < length; i++) {
        response[i] = static_cast<uint8_t>(line.pair_at(1 + 3 * static_cast<size_t>(i)));
    }
    diag_print(2, "%d bytes read from the fifo\n", length);
    return end_of_run(command, 0);
}

}  // namespace

uint32_t ipmitool2_get(unsigned int net_fn, unsigned int command_code, unsigned int request_length,
                       const uint8_t *request, int response_length, uint8_t *response) {
    CommandLine command;
    command.append("%s raw 0x%02x 0x%02x ", "ipmitool", net_fn & 0xFF, command_code & 0xFF);
    for (unsigned int i = 0; i < (request_length & 0xFF); i++) {
        command.append(" 0x%02x", request[i]);
    }
    diag_print(1, "ipmitool_get: %s\n", command.text());
    diag::ToolOutput output(static_cast<int>(kMostOfLine));
    if (!diag::run_reading_output(command.text(), output)) {
        DIAG_ERROR("sys cmd exec failed!\n");
        return kFailed;
    }
    const std::string_view printed = output.text();
    if (printed.empty()) {
        return no_response(command, response_length);
    }
    const size_t end = printed.find('\n');
    const PrintedText line(printed.substr(0, end == std::string_view::npos ? end : end + 1),
                           kMostOfLine);
    diag_print(1, "ipmii2c_get : %s\n", line.text());
    return take_response(command, line, response_length, response);
}

uint32_t ipmitool2_set(unsigned int net_fn, unsigned int command, unsigned int request_length,
                       const uint8_t *request, int response_length, uint8_t *response) {
    return ipmitool2_get(net_fn & 0xFF, command & 0xFF, request_length & 0xFF, request,
                         response_length, response);
}
