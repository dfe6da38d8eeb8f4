// SPDX-License-Identifier: MIT
// ipmitool for the simulated board: raw requests, answered as the program of that name answers.
#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>
#include <unistd.h>

#include "diags/board/number.h"
#include "diags/tools/direct_board.h"
#include "diags/tools/report.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] = R"(Usage: ipmitool raw NETFN CMD [DATA...]

Sends a raw request to the management controller of the simulated board and prints the bytes of its
answer. It takes the place of the program of the same name where the board is simulated, and has
nothing else of it.

  NETFN              net function, up to 0x3f
  CMD, DATA          bytes, up to 0xff; numbers are 0x... or decimal; 0xffffff80 and up stand for
                     their low 8 bits, as libdiag_util prints packet error codes
  -h, --help
  -V, --version

The board is the one whose running state file DIAG_BOARD names.
Exit status: 0 done, 1 everything else, as with the program that it stands for: an unusable command
line, no board, and an answer that is a refusal, which is told by its completion code (rsp).

Examples:
  ipmitool raw 0x38 0x2 0x3 0x50 0x10 0x2
  ipmitool raw 0x3c 0x18 0x12 0x34
)";

constexpr size_t kBytesPerLine = 16;
constexpr size_t kMaxRequest = 255;
constexpr size_t kFixedBytes = 2;  // NETFN and CMD
constexpr uint32_t kMaxNetFn = 0x3F;
constexpr ExitStatus kFailed = kExitNegative;

struct Request {
    std::array<uint8_t, kFixedBytes + kMaxRequest> bytes;
    size_t size = 0;

    board::IpmiRequest raw() const {
        return {.net_fn = bytes[0],
                .command = bytes[1],
                .data = {bytes.data() + kFixedBytes, size - kFixedBytes}};
    }
};

constexpr struct {
    uint8_t code;
    const char *text;
} kCompletions[] = {
    {board::kIpmiInvalidCommand, "Invalid command"},
    {board::kIpmiRequestLengthInvalid, "Request data length invalid"},
    {board::kIpmiCannotReturnThatMuch, "Cannot return number of requested data bytes"},
    {board::kIpmiInvalidField, "Invalid data field in request"},
    {board::kIpmiDestinationUnavailable, "Destination unavailable"},
};

const char *completion_text(uint8_t code) {
    for (const auto &row : kCompletions) {
        if (row.code == code) {
            return row.text;
        }
    }
    return "Unknown";
}

// libdiag_util prints a packet error code from 0x80 on as a negative number of 32 bits.
constexpr uint32_t kLowestNegativeByte = 0xFFFFFF80;

std::optional<uint8_t> parse_byte(const char *argument, uint32_t max) {
    const auto number = board::parse_number(argument, UINT32_MAX);
    const bool fits = number && (*number <= max || *number >= kLowestNegativeByte);
    return fits ? std::optional(static_cast<uint8_t>(*number)) : std::nullopt;
}

// The numbers behind "raw".
ExitStatus parse_request(std::span<char *const> arguments, Request *request) {
    if (arguments.size() < kFixedBytes) {
        return report(kFailed, "raw needs a net function and a command (see --help)");
    }
    if (arguments.size() > request->bytes.size()) {
        return report(kFailed, "at most %zu data bytes (see --help)", kMaxRequest);
    }
    for (const char *argument : arguments) {
        const uint32_t max = request->size == 0 ? kMaxNetFn : 0xFF;
        const auto byte = parse_byte(argument, max);
        if (!byte || *byte > max) {
            return report(kFailed, "'%s': expected a number up to 0x%02x (see --help)", argument,
                          max);
        }
        request->bytes[request->size++] = *byte;
    }
    return kExitDone;
}

// Every byte behind a blank, and a line feed in front of each further line and at the end.
ExitStatus print_response(std::span<const uint8_t> data) {
    constexpr size_t kSize = board::IpmiResponse::kMaxData;
    std::array<char, 3 * kSize + kSize / kBytesPerLine + 2> text;
    char *end = text.data();
    for (size_t i = 0; i < data.size(); ++i) {
        if (i > 0 && i % kBytesPerLine == 0) {
            *end++ = '\n';
        }
        end += std::snprintf(end, sizeof " 00", " %02x", data[i]);
    }
    *end++ = '\n';
    const std::string_view printed(text.data(), static_cast<size_t>(end - text.data()));
    return print(printed) == kExitDone ? kExitDone : kFailed;
}

// In the words of the program that this one stands for, so without the tool's name.
void print_refusal(const board::IpmiRequest &request, uint8_t code) {
    dprintf(STDERR_FILENO,
            "Unable to send RAW command (channel=0x0 netfn=0x%x lun=0x0 cmd=0x%x rsp=0x%x): %s\n",
            request.net_fn, request.command, code, completion_text(code));
}

ExitStatus send(const board::IpmiRequest &request) {
    board::BoardSlot slot;
    if (open_board(&slot) != kExitDone) {
        return kFailed;
    }
    board::IpmiResponse response;
    if (const board::Status status = slot.board().ipmi_raw(request, &response);
        status != board::Status::kOk) {
        return report(kFailed, "management controller: %s", status_text(status));
    }
    if (response.completion_code == 0) {
        return print_response({response.data.data(), response.size});
    }
    print_refusal(request, response.completion_code);
    return kFailed;
}

ExitStatus run(std::span<char *const> arguments) {
    const std::string_view first = arguments.empty() ? "" : arguments[0];
    if (first == "-h" || first == "--help") {
        return print(kUsage) == kExitDone ? kExitDone : kFailed;
    }
    if (first == "-V" || first == "--version") {
        return print_version() == kExitDone ? kExitDone : kFailed;
    }
    if (first == "raw") {
        Request request;
        const ExitStatus status = parse_request(arguments.subspan(1), &request);
        return status == kExitDone ? send(request.raw()) : status;
    }
    if (arguments.empty()) {
        return report(kFailed, "a command is missing: raw NETFN CMD [DATA...] (see --help)");
    }
    return report(kFailed, "'%s': this is the ipmitool of the simulated board, which knows only %s",
                  arguments[0], first.starts_with('-') ? "'raw' and no options" : "'raw'");
}

}  // namespace

ExitStatus run_ipmitool(int argc, char **argv) {
    return run({argv + 1, static_cast<size_t>(std::max(argc - 1, 0))});
}

}  // namespace diag::tools
