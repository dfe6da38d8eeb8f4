// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/controller.h"

#include <algorithm>
#include <array>

namespace diag::daemon {
namespace {

using board::Status;

constexpr uint8_t kDeviceRegisters = 0x38;
constexpr uint8_t kWriteByte = 0x03;
constexpr uint8_t kMasterTransfer = 0x3A;
constexpr uint8_t kWriteThenRead = 0x01;

Status send(board::Board &board, const board::IpmiRequest &request, std::span<uint8_t> read) {
    board::IpmiResponse response;
    if (const Status status = board.ipmi_raw(request, &response); status != Status::kOk) {
        return status;
    }
    // A refusal, whatever the controller calls it, and a short answer mean that the device did
    // not give what was asked for.
    if (response.completion_code != 0 || response.size < read.size()) {
        return Status::kNoAnswer;
    }
    std::copy_n(response.data.begin(), read.size(), read.begin());
    return Status::kOk;
}

}  // namespace

Status transfer_behind_controller(board::Board &board, uint32_t bus, uint8_t address,
                                  std::span<const uint8_t> write, std::span<uint8_t> read) {
    std::array<uint8_t, 3 + kMaxControllerWrite> data;
    data[0] = static_cast<uint8_t>(bus);
    data[1] = address;
    data[2] = static_cast<uint8_t>(read.size());
    std::ranges::copy(write, data.begin() + 3);
    return send(board,
                {.net_fn = kMasterTransfer,
                 .command = kWriteThenRead,
                 .data = std::span(data).first(3 + write.size())},
                read);
}

Status write_controller_register(board::Board &board, uint32_t bus, uint8_t address, uint8_t number,
                                 uint8_t value) {
    const std::array<uint8_t, 4> data = {static_cast<uint8_t>(bus), address, number, value};
    return send(board, {.net_fn = kDeviceRegisters, .command = kWriteByte, .data = data}, {});
}

}  // namespace diag::daemon
