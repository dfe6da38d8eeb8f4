// SPDX-License-Identifier: MIT
#include "diags/board/sim/controller.h"

#include <algorithm>
#include <iterator>

#include "diags/board/sim/i2c_bus.h"

namespace diag::board::sim {
namespace {

constexpr uint8_t kDeviceRegisters = 0x38;  // net functions
constexpr uint8_t kMasterTransfer = 0x3A;
constexpr uint8_t kOwnRegisters = 0x3C;

// What a request works on and with.
struct Exchange {
    State &state;
    std::span<const uint8_t> data;
    IpmiResponse &response;
    uint32_t *delay_ms;
};

Status refuse(const Exchange &exchange, uint8_t completion_code) {
    exchange.response.completion_code = completion_code;
    exchange.response.size = 0;
    return Status::kOk;
}

// A transfer to the device that the first two data bytes name: bus, address.
Status transfer_to_device(const Exchange &exchange, std::span<const uint8_t> write, size_t count) {
    const Status status = transfer(exchange.state, BusKind::kBmc,
                                   {.bus = exchange.data[0],
                                    .address = exchange.data[1],
                                    .write = write,
                                    .read = std::span(exchange.response.data).first(count)},
                                   exchange.delay_ms);
    if (status == Status::kNoSuchBus || status == Status::kNoAnswer) {
        return refuse(exchange, kIpmiDestinationUnavailable);
    }
    exchange.response.size = count;
    return status;
}

Status read_device_register(const Exchange &exchange) {
    return transfer_to_device(exchange, exchange.data.subspan(2, 1), exchange.data[3]);
}

Status write_device_register(const Exchange &exchange) {
    return transfer_to_device(exchange, exchange.data.subspan(2), 0);
}

Status write_then_read(const Exchange &exchange) {
    return transfer_to_device(exchange, exchange.data.subspan(3), exchange.data[2]);
}

// Null with the request refused when there is no such register.
OemRegister *find_own_register(const Exchange &exchange) {
    const uint32_t number = uint32_t{exchange.data[0]} << 8 | exchange.data[1];
    const std::span<OemRegister> all = exchange.state.oem_registers();
    const auto found = std::partition_point(
        all.begin(), all.end(), [number](const OemRegister &reg) { return reg.number < number; });
    if (found == all.end() || found->number != number) {
        refuse(exchange, kIpmiInvalidField);
        return nullptr;
    }
    return &*found;
}

Status read_own_register(const Exchange &exchange) {
    if (const OemRegister *reg = find_own_register(exchange)) {
        std::copy(std::begin(reg->bytes), std::end(reg->bytes), exchange.response.data.begin());
        exchange.response.size = sizeof reg->bytes;
    }
    return Status::kOk;
}

Status write_own_register(const Exchange &exchange) {
    if (OemRegister *reg = find_own_register(exchange)) {
        const auto values = exchange.data.subspan(2);
        std::copy(values.begin(), values.end(), std::begin(reg->bytes));
    }
    return Status::kOk;
}

struct Command {
    uint8_t net_fn;
    uint8_t number;
    size_t least_data;
    size_t most_data;
    Status (*run)(const Exchange &exchange);
};

// The controller makes up the packet error code where one is asked for, so it always fits.
constexpr Command kCommands[] = {
    {kDeviceRegisters, 0x02, 4, 4, read_device_register},
    {kDeviceRegisters, 0x03, 4, 4, write_device_register},
    {kDeviceRegisters, 0x04, 5, 5, write_device_register},
    {kDeviceRegisters, 0x07, 4, 4, write_device_register},  // with packet error code
    {kDeviceRegisters, 0x08, 5, 5, write_device_register},  // with packet error code
    {kMasterTransfer, 0x01, 3, SIZE_MAX, write_then_read},
    {kOwnRegisters, 0x18, 2, 2, read_own_register},
    {kOwnRegisters, 0x19, 6, 6, write_own_register},
};

}  // namespace

Status answer(State &state, const IpmiRequest &request, IpmiResponse *response,
              uint32_t *delay_ms) {
    response->completion_code = 0;
    response->size = 0;
    const Exchange exchange = {state, request.data, *response, delay_ms};
    const auto *command = std::ranges::find_if(kCommands, [&request](const Command &candidate) {
        return candidate.net_fn == request.net_fn && candidate.number == request.command;
    });
    if (command == std::end(kCommands)) {
        return refuse(exchange, kIpmiInvalidCommand);
    }
    const size_t size = request.data.size();
    if (size < command->least_data || size > command->most_data) {
        return refuse(exchange, kIpmiRequestLengthInvalid);
    }
    return command->run(exchange);
}

}  // namespace diag::board::sim
