// SPDX-License-Identifier: MIT
#include "diags/diagctl/conversion_loss.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <span>
#include <vector>

#include "diags/diagctl/lookup.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::size_t kMostOfName = 30;  // characters that are read

// Says what of the chip is lost; empty when nothing is.
using Loss = std::string (*)(const device_node &node);

template <typename Matches>
bool any_register(const device_node &node, Matches matches) {
    const auto registers = registers_of(node);
    return std::any_of(registers.begin(), registers.end(),
                       [&matches](const reg_def *reg) { return matches(*reg); });
}

template <typename Matches>
bool any_bit(const device_node &node, Matches matches) {
    return any_register(node, [&matches](const reg_def &reg) {
        for (const bit_def *bit = reg.bits; bit != nullptr; bit = bit->next) {
            if (matches(*bit)) {
                return true;
            }
        }
        return false;
    });
}

bool has_text(const char *text) {
    return !one_line(text).empty();
}

std::string when(bool is_lost, const char *what) {
    return is_lost ? what : std::string();
}

// ---- not written ----

std::string loss_of_muxes(const device_node &node) {
    int muxes = 0;
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        ++muxes;
    }
    return muxes == 0 ? std::string() : fmt::format("{} mux{}", muxes, muxes == 1 ? "" : "es");
}

std::string loss_of_bus(const device_node &node) {
    return node.bus_type == DIAG_BUS_MTD ? "bus " + bus_name(node) : std::string();
}

std::string loss_of_pci_function(const device_node &node) {
    return when(node.pci_dev >= 0 || node.pci_func >= 0, "PCI device and function");
}

std::string loss_of_offset_length(const device_node &node) {
    const unsigned bits = offset_bits(node);
    return bits == 8 ? std::string() : fmt::format("offset length {}", bits);
}

std::string loss_of_byte_order(const device_node &node) {
    return when(node.reg_le != 0, "endianness");
}

std::string loss_of_device_id(const device_node &node) {
    return when(has_text(node.dev_id), "device id");
}

std::string loss_of_test_roles(const device_node &node) {
    return when(any_register(node,
                             [&node](const reg_def &reg) {
                                 return !test_roles(node, reg).empty() || reg.test_data != 0 ||
                                        has_text(reg.test_desc);
                             }),
                "test roles");
}

std::string loss_of_lengths(const device_node &node) {
    return when(any_register(node, [](const reg_def &reg) { return reg.length != 1; }),
                "register lengths");
}

std::string loss_of_validation(const device_node &node) {
    return when(any_register(node, [](const reg_def &reg) { return reg.validate != 0; }),
                "validate flags");
}

std::string loss_of_access(const device_node &node) {
    const auto is_lost = [](const auto &item) { return item.access == DIAG_ACCESS_RMW; };
    return when(any_register(node, is_lost) || any_bit(node, is_lost), "access RMW");
}

// The text form knows these fields by their names.
std::string loss_of_major_version(const device_node &node) {
    return when(
        any_bit(node,
                [](const bit_def &bit) {
                    return bit.major_ver != 0 &&
                           (bit.name == nullptr || std::strstr(bit.name, "MAJOR_VER") == nullptr);
                }),
        "major version flags");
}

constexpr Loss kNotWritten[] = {loss_of_muxes,         loss_of_bus,          loss_of_pci_function,
                                loss_of_offset_length, loss_of_byte_order,   loss_of_device_id,
                                loss_of_test_roles,    loss_of_lengths,      loss_of_validation,
                                loss_of_access,        loss_of_major_version};

// ---- written, but read as something else ----

std::string loss_of_identifier(const device_node &node) {
    return when(has_text(node.chip_id), "identifier");
}

std::string loss_of_version_register(const device_node &node) {
    return when(node.version_reg != 0 || node.version_mask != 0, "version register and mask");
}

std::string loss_of_versions(const device_node &node) {
    return when(any_register(node, [](const reg_def &reg) { return has_text(reg.version); }),
                "register versions");
}

std::string loss_of_long_name(const device_node &node) {
    return when(node.name != nullptr && std::strlen(node.name) > kMostOfName,
                "name beyond 30 characters");
}

constexpr Loss kNotReadBack[] = {loss_of_identifier, loss_of_version_register, loss_of_versions,
                                 loss_of_long_name};

std::string losses(const device_node &node, const char *start, std::span<const Loss> kinds) {
    std::vector<std::string> lost;
    for (const Loss kind : kinds) {
        if (std::string what = kind(node); !what.empty()) {
            lost.push_back(std::move(what));
        }
    }
    return lost.empty() ? std::string() : start + join(lost, ", ");
}

}  // namespace

std::string conversion_loss(const Chip &chip) {
    const std::string written = losses(*chip.node, "not written: ", kNotWritten);
    const std::string read = losses(*chip.node, "not read back: ", kNotReadBack);
    return written.empty() || read.empty() ? written + read : written + "; " + read;
}

}  // namespace diag::diagctl
