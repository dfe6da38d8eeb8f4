// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_failure.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

using broker::Outcome;

struct RefusalRow {
    Outcome outcome;
    ExitStatus status;
    const char *meaning;
};

constexpr RefusalRow kRefusals[] = {
    {Outcome::kUnknownDevice, kExitNoDevice, "the bus broker does not know the device"},
    {Outcome::kNotSupported, kExitNoDevice, "the bus broker's board has no bus of that kind"},
    {Outcome::kNoAnswer, kExitAccessFailed, "no answer"},
    {Outcome::kTimedOut, kExitBusy, "another program holds the device"},
    {Outcome::kQueueFull, kExitBusy, "the bus broker has too much to do"},
    {Outcome::kBusy, kExitBusy, "the bus broker has too many clients"},
};

constexpr struct {
    broker::ToolId id;
    const char *name;
} kTools[] = {
    {broker::kToolI2c, "i2ctool"},    {broker::kToolGpio, "gpiotool"},
    {broker::kToolLpc, "lpctool"},    {broker::kToolPci, "pcitool"},
    {broker::kToolMemory, "memtool"}, {broker::kToolDiagctl, "diagctl"},
};

std::uint64_t end_of(const device_node &node) {
    std::uint64_t end = 1;
    for (const reg_def *reg : registers_of(node)) {
        end = std::max<std::uint64_t>(end, reg->offset + register_bytes(*reg));
    }
    return node.address + end;
}

// "lpc 0x100-0x1ff", "lpc 0x100", "lpc".
bool covers_bytes(const std::string &footprint, const char *bus, const device_node &node) {
    const std::string noun = bus;
    if (footprint == noun) {
        return true;
    }
    if (!footprint.starts_with(noun + " ")) {
        return false;
    }
    char *rest = nullptr;
    const std::uint64_t first = std::strtoull(footprint.c_str() + noun.size(), &rest, 16);
    const std::uint64_t last = *rest == '-' ? std::strtoull(rest + 1, nullptr, 16) : first;
    return first < end_of(node) && last >= node.address;
}

bool covers_pointer(const std::string &footprint, const char *bus, const device_node &node) {
    const std::string whole = fmt::format("{} {}", bus, node.bus_no);
    return footprint == whole || footprint == fmt::format("{} {:#04x}", whole, node.address);
}

// Whether a hold, as the status tells it, reaches the chip.
bool covers(const std::string &footprint, const device_node &node) {
    switch (node.bus_type) {
        case DIAG_BUS_I2C:
            return covers_pointer(footprint, "i2c", node);
        case DIAG_BUS_BMC:
            return covers_pointer(footprint, "bmc", node);
        case DIAG_BUS_LPC:
            return covers_bytes(footprint, "lpc", node);
        case DIAG_BUS_MEM:
            return covers_bytes(footprint, "mem", node);
        case DIAG_BUS_PCI:
            return footprint ==
                   fmt::format("pci {:02x}:{:02x}.{:x}", node.bus_no, node.pci_dev, node.pci_func);
        default:
            return false;
    }
}

bool holds(const Json &client, const device_node &node) {
    const auto list = client.find("holds");
    return list != client.end() &&
           std::any_of(list->begin(), list->end(), [&node](const Json &hold) {
               return covers(hold.value("footprint", std::string()), node);
           });
}

}  // namespace

std::string broker_tool_name(std::uint32_t tool) {
    const auto *const row = std::find_if(std::begin(kTools), std::end(kTools),
                                         [tool](const auto &known) { return known.id == tool; });
    return row != std::end(kTools) ? row->name : fmt::format("tool {}", tool);
}

void fail_refused(const std::string &what, const broker::Result &refusal) {
    for (const RefusalRow &row : kRefusals) {
        if (refusal.is_refused(row.outcome)) {
            fail(row.status, "{}: {}", what, row.meaning);
        }
    }
    fail(kExitAccessFailed, "{}: the bus broker refuses: {}", what, one_line(refusal.refusal));
}

std::string holder_of(const Chip &chip, const Json &status, std::uint32_t own_instance) {
    const auto clients = status.find("clients");
    if (clients == status.end()) {
        return {};
    }
    for (const Json &client : *clients) {
        const auto instance = client.value("instance", 0U);
        if (instance != own_instance && holds(client, *chip.node)) {
            return fmt::format("{} at {}, instance {}", broker_tool_name(client.value("tool", 0U)),
                               one_line(client.value("address", std::string())), instance);
        }
    }
    return {};
}

}  // namespace diag::diagctl
