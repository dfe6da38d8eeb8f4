// SPDX-License-Identifier: MIT
// Registers of devices behind the board management controller, and the controller's own, through
// ipmitool: one raw command for a reading, one per item for a write.
#include "diags/common/src/tools/ipmitool.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/ipmi_text.h"
#include "diags/common/src/tools/reg_info_checks.h"

namespace diag {

namespace {

constexpr char kGet[] = "ipmitool_get";
constexpr char kSet[] = "ipmitool_set";
constexpr char kTool[] = "ipmitool raw";
constexpr uint32_t kRefused = 0xFFFFFFFFU;

// Network functions of the platform's controller, and their commands.
constexpr unsigned kNetFnDevice = 0x38;
constexpr unsigned kReadDevice = 0x2;
constexpr unsigned kNetFnOem = 0x3c;
constexpr unsigned kReadOem = 0x18;
constexpr unsigned kWriteOem = 0x19;

constexpr int kMostWritten = 256;

// More than any controller answers; what a program prints beyond it is dropped.
constexpr int kMostPrinted = 1 << 20;

// A line is taken in pieces of this many characters.
constexpr size_t kLineRoom = 255;

// The number of the bus, or nothing after a message.
std::optional<int> checked_bus(const char *function, const char *bus_path, const reg_info &info) {
    if (info.addr_mode != DIAG_ADDR_MODE_REG8) {
        DIAG_ERROR_IN(function, "Unsupport Addressing mode %d\n", static_cast<int>(info.addr_mode));
        return std::nullopt;
    }
    const std::optional<int> bus = bus_behind_dash(bus_path);
    if (!bus) {
        DIAG_ERROR_IN(function, "Invalid bus path %s", bus_path);
    }
    return bus;
}

bool make_reading(const IpmiRegister &reg, int count, CommandLine &command) {
    const unsigned device = reg.device & 0xFF;
    if (reg.bus_path == nullptr) {
        if (device != kReadOem) {
            DIAG_ERROR_IN(kGet, "Unsupport OEM command %x\n", device);
            return false;
        }
        command.append("%s 0x%x 0x%x 0x%x 0x%x", kTool, kNetFnOem, kReadOem,
                       (reg.number >> 8) & 0xFF, reg.number & 0xFF);
        return true;
    }
    if (!is_given(kGet, reg.info)) {
        return false;
    }
    const std::optional<int> bus = checked_bus(kGet, reg.bus_path, *reg.info);
    if (bus) {
        command.append("%s 0x%x 0x%x 0x%x 0x%x 0x%x 0x%x", kTool, kNetFnDevice, kReadDevice,
                       static_cast<unsigned>(*bus), device, reg.number & 0xFF,
                       static_cast<unsigned>(count));
    }
    return bus.has_value();
}

// Stores the bytes whose digits stand in one piece of a line; any two characters that begin with no
// blank count as digits. Answers how many there were.
size_t store_line(std::string_view line, uint8_t *result, size_t room) {
    size_t stored = 0;
    for (size_t at = line.find_first_not_of(' ');
         at < line.size() && line[at] != '\n' && line[at] != '\0' && stored < room;
         at = line.find_first_not_of(' ', at + 2)) {
        const char digits[] = {line[at], at + 1 < line.size() ? line[at + 1] : '\0', '\0'};
        result[stored++] = static_cast<uint8_t>(atoh(digits));
    }
    return stored;
}

size_t store_bytes(std::string_view printed, uint8_t *result, size_t room) {
    size_t stored = 0;
    while (!printed.empty()) {
        const size_t length = std::min({printed.find('\n'), printed.size() - 1, kLineRoom - 1}) + 1;
        stored += store_line(printed.substr(0, length), result + stored, room - stored);
        printed.remove_prefix(length);
    }
    return stored;
}

// What one command writes: the request code by flag and width.
struct ItemWidth {
    int bytes;
    unsigned write_device;
    unsigned write_device_flagged;
};

constexpr ItemWidth kByte = {1, 0x3, 0x7};
constexpr ItemWidth kWord = {2, 0x4, 0x8};

uint32_t run_writing(const CommandLine &command) {
    diag_print(3, "ipmitool_set: %s\n", command.text());
    if (run_command(command.text()) != 0) {
        DIAG_ERROR_IN(kSet, "shell command(%s) failed\n", command.text());
        return kRefused;
    }
    return 0;
}

uint32_t write_oem(const IpmiRegister &reg, const uint8_t *data) {
    const unsigned command_code = reg.device & 0xFF;
    if (command_code != kWriteOem) {
        DIAG_ERROR_IN(kSet, "Unsupport OEM command %d\n", static_cast<int>(command_code));
        return kRefused;
    }
    CommandLine command;
    command.append("%s 0x%x 0x%x 0x%x 0x%x 0x%x 0x%x 0x%x 0x%x > /dev/null", kTool, kNetFnOem,
                   kWriteOem, (reg.number >> 8) & 0xFF, reg.number & 0xFF, data[0], data[1],
                   data[2], data[3]);
    return run_writing(command);
}

uint32_t write_items(const IpmiRegister &reg, int bus, const ItemWidth &width, const uint8_t *data,
                     int count, bool flagged) {
    const unsigned request = flagged ? width.write_device_flagged : width.write_device;
    unsigned number = reg.number;
    for (int written = 0; written < count; written += width.bytes, number++) {
        CommandLine command;
        command.append("%s 0x%x 0x%x 0x%x 0x%x 0x%x", kTool, kNetFnDevice, request,
                       static_cast<unsigned>(bus), reg.device & 0xFF, number & 0xFF);
        for (int i = 0; i < width.bytes; i++) {
            command.append(" 0x%x", data[written + i]);
        }
        command.append(" > /dev/null");
        if (const uint32_t status = run_writing(command); status != 0) {
            return status;
        }
    }
    return 0;
}

}  // namespace

uint32_t read_ipmi_register(const IpmiRegister &reg, int count, uint8_t *result, size_t room) {
    CommandLine command;
    if (!make_reading(reg, count, command)) {
        return kRefused;
    }
    diag_print(3, "ipmitool_get: %s\n", command.text());
    ToolOutput output(kMostPrinted);
    if (!run_reading_output(command.text(), output)) {
        DIAG_ERROR_IN(kGet, "shell command(%s) failed\n", command.text());
        return kRefused;
    }
    if (!output.is_complete()) {
        DIAG_ERROR_IN(kGet, "No memory for the answer of %s\n", command.text());
        return kRefused;
    }
    if (store_bytes(output.text(), result, room) == 0) {
        DIAG_ERROR_IN(kGet, "Error reading at offset 0x%02x\n", reg.number & 0xFF);
        return kRefused;
    }
    return 0;
}

}  // namespace diag

uint32_t ipmitool_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                      const reg_info *info, int count, const char * /*pipe_path*/,
                      uint8_t *result) {
    return diag::read_ipmi_register({bus_path, dev_addr, reg, info}, count, result, SIZE_MAX);
}

uint32_t ipmitool_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                      const reg_info *info, const uint8_t *data, int count, unsigned int flags) {
    using namespace diag;
    const IpmiRegister target{bus_path, dev_addr, reg, info};
    if (bus_path == nullptr) {
        return write_oem(target, data);
    }
    if (!is_given(kSet, info)) {
        return kRefused;
    }
    if (info->data_width > DIAG_DATA_WIDTH_BLOCK) {
        DIAG_ERROR("ERR:Invalid width size %d\n", static_cast<int>(info->data_width));
        return kRefused;
    }
    const std::optional<int> bus = checked_bus(kSet, bus_path, *info);
    if (!bus) {
        return kRefused;
    }
    const ItemWidth &width = info->data_width == DIAG_DATA_WIDTH_16 ? kWord : kByte;
    return write_items(target, *bus, width, data, std::min(count, kMostWritten), (flags & 1) != 0);
}
