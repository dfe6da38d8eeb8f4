// SPDX-License-Identifier: MIT
#include "diags/tools/broker_board.h"

#include <algorithm>
#include <optional>

namespace diag::tools {

using board::Status;
using broker::Outcome;
using broker::RawPlace;
using broker::Result;

// A row of bytes behind one device id.
struct BrokerBoard::Place {
    RawPlace device;
    uint64_t address = 0;
    unsigned item_bytes = 1;
};

namespace {

constexpr uint8_t kHighestI2cAddress = 0x7F;

// A refusal that a board of one's own gives in the same words, or one that is told by the daemon's.
struct RefusalRow {
    Outcome outcome;
    std::optional<Status> status;
    ExitStatus exit_status;
    const char *text;
};

constexpr RefusalRow kRefusals[] = {
    {Outcome::kUnknownDevice, Status::kNoSuchBus, kExitNoDevice, ""},
    {Outcome::kNotSupported, Status::kNotSupported, kExitNoDevice, ""},
    {Outcome::kNoAnswer, Status::kNoAnswer, kExitAccessFailed, ""},
    {Outcome::kTimedOut, std::nullopt, kExitBusy, "another program holds it: "},
    {Outcome::kQueueFull, std::nullopt, kExitBusy, "the bus broker has too much to do: "},
    {Outcome::kBusy, std::nullopt, kExitBusy, "the bus broker has too many clients: "},
};

constexpr const char *kOtherRefusal = "the bus broker refuses: ";

const RefusalRow *find_refusal(const std::string &text) {
    const auto *const row = std::find_if(
        std::begin(kRefusals), std::end(kRefusals),
        [&](const RefusalRow &candidate) { return text == outcome_text(candidate.outcome); });
    return row != std::end(kRefusals) ? row : nullptr;
}

// The way in which a device takes the bytes of the write phase in front of a reading: none, or as a
// register number. Longer ones are none that a tool has.
std::optional<broker::Access> access_to_register(std::span<const uint8_t> number) {
    switch (number.size()) {
        case 0:
            return broker::Access{.options = broker::kNoRegister};
        case 1:
            return broker::Access{.address = number[0]};
        case 2:
            return broker::Access{.address = static_cast<uint32_t>(number[0] << 8 | number[1]),
                                  .options = broker::kRegister16};
        default:
            return std::nullopt;
    }
}

uint8_t write_options(const board::I2cTransfer &transfer) {
    if (transfer.write.empty()) {
        return broker::kNoData;
    }
    return static_cast<uint8_t>(broker::kNoRegister | (transfer.write_has_pec ? broker::kPec : 0));
}

RawPlace pci_place(const board::PciFunction &function) {
    return {.kind = RawPlace::Kind::kPci,
            .bus = function.bus,
            .device = static_cast<uint8_t>(function.device),
            .function = static_cast<uint8_t>(function.function)};
}

// The daemon does not tell a line that is not there from a chip that is not.
Status status_of_line(Status status) {
    return status == Status::kNoSuchBus ? Status::kNoSuchLine : status;
}

RawPlace gpio_place(unsigned chip) {
    return {.kind = RawPlace::Kind::kGpio, .bus = chip};
}

}  // namespace

Status BrokerBoard::i2c_transfer(const board::I2cTransfer &transfer) {
    if (transfer.address > kHighestI2cAddress) {
        return Status::kNoAnswer;  // no device can have it
    }
    const std::string device =
        broker::format_raw_id({.bus = transfer.bus, .device = transfer.address});
    const size_t size = std::max(transfer.read.size(), transfer.write.size());
    const size_t most = transfer.read.empty() ? broker::kMaxWriteBytes : broker::kMaxReadBytes;
    if (size > most) {
        return fail(kExitUsage, "one request to the bus broker carries at most " +
                                    std::to_string(most) + " bytes");
    }
    if (transfer.read.empty()) {
        return outcome(client_.write(device, {.options = write_options(transfer)}, transfer.write));
    }
    const auto access = access_to_register(transfer.write);
    return access ? outcome(client_.read(device, *access, transfer.read)) : Status::kNotSupported;
}

Status BrokerBoard::lpc_read(uint32_t address, unsigned item_bytes, std::span<uint8_t> data) {
    return read({{.kind = RawPlace::Kind::kLpc}, address, item_bytes}, data);
}

Status BrokerBoard::lpc_write(uint32_t address, unsigned item_bytes,
                              std::span<const uint8_t> data) {
    return write({{.kind = RawPlace::Kind::kLpc}, address, item_bytes}, data);
}

Status BrokerBoard::pci_read(const board::PciFunction &function, uint32_t offset,
                             unsigned item_bytes, std::span<uint8_t> data) {
    return read({pci_place(function), offset, item_bytes}, data);
}

Status BrokerBoard::pci_write(const board::PciFunction &function, uint32_t offset,
                              unsigned item_bytes, std::span<const uint8_t> data) {
    return write({pci_place(function), offset, item_bytes}, data);
}

Status BrokerBoard::memory_read(uint64_t address, unsigned item_bytes, std::span<uint8_t> data) {
    return read({{.kind = RawPlace::Kind::kMemory}, address, item_bytes}, data);
}

Status BrokerBoard::memory_write(uint64_t address, unsigned item_bytes,
                                 std::span<const uint8_t> data) {
    return write({{.kind = RawPlace::Kind::kMemory}, address, item_bytes}, data);
}

Status BrokerBoard::gpio_read(unsigned chip, unsigned line, bool *is_high) {
    uint8_t level = 0;
    const Status status = read({gpio_place(chip), line}, {&level, 1});
    *is_high = level != 0;
    return status_of_line(status);
}

Status BrokerBoard::gpio_write(unsigned chip, unsigned line, bool is_high) {
    const uint8_t level = is_high ? 1 : 0;
    return status_of_line(write({gpio_place(chip), line}, {&level, 1}));
}

Status BrokerBoard::read(const Place &place, std::span<uint8_t> data) {
    return in_pieces(
        place, data, broker::kMaxReadBytes,
        [this](const std::string &device, const broker::Access &access, std::span<uint8_t> piece) {
            return client_.read(device, access, piece);
        });
}

Status BrokerBoard::write(const Place &place, std::span<const uint8_t> data) {
    return in_pieces(
        place, data, broker::kMaxWriteBytes,
        [this](const std::string &device, const broker::Access &access,
               std::span<const uint8_t> piece) { return client_.write(device, access, piece); });
}

template <class Byte, class Request>
Status BrokerBoard::in_pieces(const Place &place, std::span<Byte> data, size_t most,
                              Request request) {
    if (place.address + data.size() - 1 > UINT32_MAX) {
        return fail(kExitUsage, "requests to the bus broker carry addresses of 32 bits");
    }
    const std::string device = broker::format_raw_id(place.device);
    const size_t piece_size = most - most % place.item_bytes;
    for (size_t done = 0; done < data.size();) {
        const size_t size = std::min(piece_size, data.size() - done);
        const broker::Access access = {.address = static_cast<uint32_t>(place.address + done),
                                       .width = static_cast<uint8_t>(8 * place.item_bytes)};
        const Status status = outcome(request(device, access, data.subspan(done, size)));
        if (status != Status::kOk) {
            return status;
        }
        done += size;
    }
    return Status::kOk;
}

Status BrokerBoard::outcome(const Result &result) {
    switch (result.kind) {
        case Result::Kind::kDone:
            return Status::kOk;
        case Result::Kind::kNoAnswer:
            return fail(kExitTimedOut,
                        "no answer from the bus broker at " + client_.address().text() +
                            ": is busbroker running?",
                        false);
        case Result::Kind::kRefused:
            break;
    }
    const RefusalRow *const row = find_refusal(result.refusal);
    if (row == nullptr) {
        return fail(kExitAccessFailed, kOtherRefusal + result.refusal);
    }
    return row->status ? *row->status : fail(row->exit_status, row->text + result.refusal);
}

// Which status stands for it does not matter: the failure is told by its own text.
Status BrokerBoard::fail(ExitStatus exit_status, std::string text, bool is_about_place) {
    text_ = std::move(text);
    failure_ = {exit_status, text_.c_str(), is_about_place};
    return Status::kUnusable;
}

}  // namespace diag::tools
