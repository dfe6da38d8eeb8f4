// SPDX-License-Identifier: MIT
// I2C transfers that the board management controller makes: a write phase, then a read phase.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/fatal_overflow.h"
#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/ipmi_text.h"
#include "diags/common/src/tools/reg_info_checks.h"

namespace {

using diag::CommandLine;
using diag::PrintedText;

constexpr uint32_t kRefused = 0xFFFFFFFFU;
constexpr size_t kBusPathRoom = 30;
constexpr size_t kBytesPerLine = 16;  // of what ipmitool prints
constexpr char kFailed[] = "FAILED <<<---";

// What tells a call from its second form. The two log alike.
struct ReadingForm {
    const char *function;
    bool checks_result;
    bool blank_behind_register;
    bool text_in_brackets;
};

struct WritingForm {
    const char *function;
    bool blank_behind_register;
    const char *redirection;
};

struct Target {
    const char *bus_path;
    unsigned int device;
    unsigned int number;
    const reg_info *info;
};

// A target that has passed the checks.
struct Transfer {
    unsigned bus;
    unsigned device;
    unsigned number;  // low byte first, as its bytes stand in memory
    int number_bytes;
    bool wide_items;
};

bool take_number_width(const char *function, const reg_info &info, Transfer *transfer) {
    if (info.addr_mode > DIAG_ADDR_MODE_REG16) {
        DIAG_ERROR_IN(function, "Invalid Addressing mode %d\n", static_cast<int>(info.addr_mode));
        return false;
    }
    transfer->number_bytes = info.addr_mode == DIAG_ADDR_MODE_REG16 ? 2 : 1;
    return true;
}

bool take_bus(const char *function, const char *bus_path, Transfer *transfer) {
    if (bus_path != nullptr && std::strlen(bus_path) >= kBusPathRoom) {
        diag::fatal_overflow(function);
    }
    const std::optional<int> bus = diag::bus_behind_dash(bus_path != nullptr ? bus_path : "");
    if (!bus) {
        DIAG_ERROR_IN(function, "Invalid ipmi i2c bus Format \n");
        return false;
    }
    transfer->bus = static_cast<unsigned>(*bus);
    return true;
}

// 0 and the transfer, or the status of the first check that fails.
uint32_t check(const char *function, const Target &target, Transfer *transfer) {
    if (!diag::has_valid_width(function, *target.info) ||
        !take_number_width(function, *target.info, transfer)) {
        return kRefused;
    }
    transfer->wide_items = target.info->data_width == DIAG_DATA_WIDTH_16;
    if (!take_bus(function, target.bus_path, transfer)) {
        return DIAG_E_INVAL;
    }
    transfer->device = target.device & 0xFF;
    // A register number of two bytes goes out high byte first.
    transfer->number = transfer->number_bytes == 2 ? byte_swap(target.number, 16) : target.number;
    return 0;
}

void append_head(const Transfer &transfer, int count, CommandLine &command) {
    command.append("%s raw 0x3a 0x01 0x%02x 0x%02x 0x%02x", "ipmitool", transfer.bus,
                   transfer.device, static_cast<unsigned>(count));
}

// The pair of digits after every sixteenth byte stands behind a line end.
size_t behind(size_t position, size_t item) {
    return position + (item % kBytesPerLine == 0 ? 4 : 3);
}

// Of a 16-bit item only the byte printed second is kept, at the item's own place: callers read it
// there.
void store_items(const PrintedText &text, bool wide_items, int count, uint8_t *result) {
    size_t position = 1;
    for (size_t item = 1; count > 0 && item <= static_cast<size_t>(count); item++) {
        const size_t next = behind(position, item);
        if (wide_items) {
            result[2 * (item - 1)] = static_cast<uint8_t>(text.pairs_at(position, next));
            position = next + 3;
        } else {
            result[item - 1] = static_cast<uint8_t>(text.pair_at(position));
            position = next;
        }
    }
}

uint32_t nothing_read(int count) {
    diag_print(2, "fgets read ERR from the fifo\n");
    if (count != 0) {
        diag_print(2, "%s\nError Reading %d bytes from IPMII2C\n", kFailed, 1);
        return kRefused;
    }
    diag_print(2, "%d bytes read from the fifo\n", 1);
    return 0;
}

uint32_t take_answer(const ReadingForm &form, std::string_view printed, const Transfer &transfer,
                     int count, uint8_t *result) {
    if (printed.empty()) {
        return nothing_read(count);
    }
    const PrintedText text(printed, PrintedText::kMost);
    if (form.text_in_brackets) {
        diag_print(2, "ipmii2c_get:[%s]\n", text.text());
    } else {
        diag_print(2, "ipmii2c_get:%s\n", text.text());
    }
    if (text.at(0) != ' ') {
        diag_print(2, "ipmi read data err, 0x%x!\n",
                   static_cast<unsigned>(static_cast<unsigned char>(text.at(0))));
        return kRefused;
    }
    store_items(text, transfer.wide_items, count, result);
    diag_print(2, "%d bytes read from the fifo\n",
               static_cast<int>(static_cast<unsigned>(count) + 1));
    return 0;
}

uint32_t read(const ReadingForm &form, const Target &target, int count, uint8_t *result) {
    if (!diag::is_given(form.function, target.info)) {
        return kRefused;
    }
    if (form.checks_result && result == nullptr) {
        DIAG_ERROR_IN(form.function, "r_data is NULL\n");
        return kRefused;
    }
    Transfer transfer{};
    if (const uint32_t status = check(form.function, target, &transfer); status != 0) {
        return status;
    }
    CommandLine command;
    append_head(transfer, count, command);
    command.append(" ");
    for (int i = 0; i < transfer.number_bytes; i++) {
        command.append("0x%02x%s", transfer.number >> (8 * i) & 0xFF,
                       form.blank_behind_register ? " " : "");
    }
    command.append(" 2>/dev/null");
    diag_print(1, "ipmii2c_get: %s\n", command.text());
    diag::ToolOutput output(static_cast<int>(PrintedText::kMost));
    if (!diag::run_reading_output(command.text(), output)) {
        DIAG_ERROR_IN(form.function, "sys cmd exec failed!\n");
        return kRefused;
    }
    return take_answer(form, output.text(), transfer, count, result);
}

void append_data(const Transfer &transfer, const uint8_t *data, int count, CommandLine &command) {
    for (int i = 0; i < count && !command.is_full(); i++) {
        if (transfer.wide_items) {
            command.append(" 0x%02x 0x%02x", data[2 * i + 1], data[2 * i]);
        } else {
            command.append(" 0x%02x", data[i]);
        }
    }
}

// Over the device address and the data in memory order, without the register number. Printed as a
// signed character: controllers of the platform expect it so.
void append_pec(const Transfer &transfer, const uint8_t *data, int count, CommandLine &command) {
    unsigned pec = crc8(0, transfer.device);
    const size_t size = static_cast<size_t>(std::max(count, 0)) * (transfer.wide_items ? 2 : 1);
    for (size_t i = 0; i < size; i++) {
        pec = crc8(pec & 0xFF, data[i]);
    }
    command.append(" 0x%02x", static_cast<unsigned>(static_cast<signed char>(pec)));
}

uint32_t write(const WritingForm &form, const Target &target, const uint8_t *data, int count,
               unsigned pec) {
    if (!diag::is_given(form.function, target.info)) {
        return kRefused;
    }
    Transfer transfer{};
    if (const uint32_t status = check(form.function, target, &transfer); status != 0) {
        return status;
    }
    CommandLine command;
    append_head(transfer, 0, command);
    for (int i = 0; i < transfer.number_bytes; i++) {
        command.append(" 0x%02x%s", transfer.number >> (8 * i) & 0xFF,
                       form.blank_behind_register ? " " : "");
    }
    append_data(transfer, data, count, command);
    if (pec != 0) {
        append_pec(transfer, data, count, command);
    }
    command.append("%s", form.redirection);
    diag_print(1, "ipmii2c_set: %s\n", command.text());
    if (diag::run_command(command.text()) != 0) {
        DIAG_ERROR_IN(form.function, "%s\nError writing to I2C device\n", kFailed);
        return kRefused;
    }
    return 0;
}

}  // namespace

uint32_t ipmii2c_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                     const reg_info *info, int count, const char * /*pipe_path*/, uint8_t *result) {
    return read({__func__, true, true, true}, {bus_path, dev_addr, reg, info}, count, result);
}

uint32_t ipmii2c2_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                      const reg_info *info, int count, const char * /*pipe_path*/,
                      uint8_t *result) {
    return read({__func__, false, false, false}, {bus_path, dev_addr, reg, info}, count, result);
}

uint32_t ipmii2c_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                     const reg_info *info, const uint8_t *data, int count, unsigned int pec) {
    return write({__func__, true, " 1>/dev/null"}, {bus_path, dev_addr, reg, info}, data, count,
                 pec);
}

uint32_t ipmii2c2_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                      const reg_info *info, const uint8_t *data, int count, unsigned int pec) {
    return write({__func__, false, " 2>/dev/null"}, {bus_path, dev_addr, reg, info}, data, count,
                 pec);
}
