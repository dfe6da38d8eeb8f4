// SPDX-License-Identifier: MIT
// Registers of I2C devices, through i2ctool.
#include <cstdio>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/fifo_reading.h"
#include "diags/common/src/tools/reg_info_checks.h"

reg_info reg8_data8 = {DIAG_ADDR_MODE_REG8, DIAG_DATA_WIDTH_8, 0};
reg_info reg8_data16 = {DIAG_ADDR_MODE_REG8, DIAG_DATA_WIDTH_16, 0};
reg_info reg16_data8 = {DIAG_ADDR_MODE_REG16, DIAG_DATA_WIDTH_8, 0};
reg_info reg16_data8_le = {DIAG_ADDR_MODE_REG16, DIAG_DATA_WIDTH_8, 1};
reg_info regblk_datablk = {DIAG_ADDR_MODE_BLOCK, DIAG_DATA_WIDTH_BLOCK, 0};

namespace {

using diag::CommandLine;
using diag::FifoReading;

constexpr char kTool[] = "i2ctool";
constexpr uint32_t kRefused = 0xFFFFFFFFU;
constexpr diag::ReadingTexts kTexts = {"I2C", "i2c", true, "I2C"};
constexpr unsigned int kFlagPec = 1;

// What tells a call from its "_no_cntrl" form.
struct Form {
    const char *function;
    const char *control;  // option for a tool that is not to acquire the control of the bus
};

struct Register {
    const char *bus;
    unsigned int device;
    unsigned int number;
    const reg_info *info;
};

int tool_width(const reg_info &info) {
    return info.data_width == DIAG_DATA_WIDTH_16 ? 16 : 8;
}

bool reject_address_mode(const char *function, const reg_info &info) {
    DIAG_ERROR_IN(function, "Invalid Addressing mode %d\n", static_cast<int>(info.addr_mode));
    return false;
}

bool append_register_to_read(const char *function, const Register &reg, CommandLine &command) {
    switch (reg.info->addr_mode) {
        case DIAG_ADDR_MODE_REG8:
            command.append("--reg=0x%02x", reg.number);
            return true;
        case DIAG_ADDR_MODE_REG16:
            command.append("--reg16=0x%04x", reg.number & 0xFFFF);
            return true;
        case DIAG_ADDR_MODE_BLOCK:
            command.append("--regblock=0x%02x", reg.number);
            return true;
        default:
            return reject_address_mode(function, *reg.info);
    }
}

// The number is cut to its width here, and a block register has four digits: the tool knows both
// forms.
bool append_register_to_write(const char *function, const Register &reg, CommandLine &command) {
    switch (reg.info->addr_mode) {
        case DIAG_ADDR_MODE_REG8:
            command.append("--reg=0x%02x", reg.number & 0xFF);
            return true;
        case DIAG_ADDR_MODE_REG16:
            command.append("--reg16=0x%04x", reg.number & 0xFFFF);
            return true;
        case DIAG_ADDR_MODE_BLOCK:
            command.append("--regblock=0x%04x", reg.number & 0xFFFF);
            return true;
        default:
            return reject_address_mode(function, *reg.info);
    }
}

void append_byte_order(const reg_info &info, CommandLine &command) {
    if (info.reg_le != 0) {
        command.append(" --reg_le");
    }
}

uint32_t read_register(const Form &form, const Register &reg, int count, const char *pipe_path,
                       uint8_t *result) {
    if (!diag::is_given(form.function, reg.info)) {
        return kRefused;
    }
    if (diag::is_dry_run(result)) {
        return 0;
    }
    FifoReading reading(form.function, kTexts, pipe_path);
    if (!reading.is_ready()) {
        return DIAG_E_FAIL;
    }
    CommandLine command;
    if (!diag::has_valid_width(form.function, *reg.info)) {
        reading.abandon();  // a refused descriptor leaves the FIFO behind: callers look for it
        return kRefused;
    }
    command.append("%s --read --bus=%s --addr=0x%02x --count=%d --pipe=%s --width=%d %s", kTool,
                   reg.bus, reg.device & 0xFF, count, pipe_path, tool_width(*reg.info),
                   form.control);
    if (!append_register_to_read(form.function, reg, command)) {
        reading.abandon();
        return kRefused;
    }
    append_byte_order(*reg.info, command);
    diag_print(1, "i2ctool_get: %s\n", command.text());
    return reading.run(command, count, result);
}

// The options before the register. With a flag word and the broker's option last, no blank follows
// it: the register option is glued to it, and the tool takes it apart.
void append_write_head(const Form &form, const Register &reg, unsigned int flags,
                       bool busbroker_request, CommandLine &command) {
    command.append("%s --write --bus=%s --addr=0x%02x --width=%d ", kTool, reg.bus,
                   reg.device & 0xFF, tool_width(*reg.info));
    if (flags != 0) {
        command.append("--flag=%s ", (flags & kFlagPec) != 0 ? "pdc" : "");
    }
    if (busbroker_request) {
        const bool is_glued = flags != 0 && form.control[0] == '\0';
        command.append("--busbroker_req%s", is_glued ? "" : " ");
    }
    command.append("%s", form.control);
}

int run_writing(const char *function, const CommandLine &command) {
    if (get_debug_enable() != 0) {
        DIAG_ERROR_IN(function, "%s\n", command.text());
        return 0;
    }
    diag_print(1, "i2ctool_set: %s\n", command.text());
    if (diag::run_command(command.text()) != 0) {
        DIAG_ERROR_IN(function, "%s\nError writing to I2C device\n", "FAILED <<<---");
        return -1;
    }
    return 0;
}

int write_register(const Form &form, const Register &reg, const uint8_t *data, unsigned int count,
                   unsigned int flags, bool busbroker_request) {
    if (!diag::is_given(form.function, reg.info)) {
        return -1;
    }
    if (!diag::has_valid_width(form.function, *reg.info)) {
        return -1;
    }
    CommandLine command;
    append_write_head(form, reg, flags, busbroker_request, command);
    if (!append_register_to_write(form.function, reg, command)) {
        return -1;
    }
    command.append(" --val=");
    command.append_values(data, static_cast<int>(count), CommandLine::Padding::kTwoDigits);
    append_byte_order(*reg.info, command);
    return run_writing(form.function, command);
}

}  // namespace

uint32_t i2ctool_get(const char *bus, unsigned int dev_addr, unsigned int reg, const reg_info *info,
                     int count, const char *pipe_path, uint8_t *result) {
    return read_register({__func__, ""}, {bus, dev_addr, reg, info}, count, pipe_path, result);
}

uint32_t i2ctool_get_no_cntrl(const char *bus, unsigned int dev_addr, unsigned int reg,
                              const reg_info *info, int count, const char *pipe_path,
                              uint8_t *result) {
    return read_register({__func__, "--no_control "}, {bus, dev_addr, reg, info}, count, pipe_path,
                         result);
}

int i2ctool_set(const char *bus, unsigned int dev_addr, int reg, const reg_info *info,
                const uint8_t *data, unsigned int count, unsigned int flags,
                bool busbroker_request) {
    return write_register({__func__, ""}, {bus, dev_addr, static_cast<unsigned int>(reg), info},
                          data, count, flags, busbroker_request);
}

int i2ctool_set_no_cntrl(const char *bus, unsigned int dev_addr, int reg, const reg_info *info,
                         const uint8_t *data, unsigned int count, unsigned int flags,
                         bool busbroker_request) {
    return write_register({__func__, "--no_control "},
                          {bus, dev_addr, static_cast<unsigned int>(reg), info}, data, count, flags,
                          busbroker_request);
}
