// SPDX-License-Identifier: MIT
#include "diags/tools/i2ctool_options.h"

#include <cstring>
#include <string_view>

#include "diags/board/number.h"

namespace diag::tools {
namespace {

using board::kMaxI2cData;
using board::NumberWidth;
using board::RegisterProblem;

constexpr const char kUsage[] =
    R"(Usage: i2ctool --read  --bus=BUS --addr=ADDRESS REGISTER --count=N [--width=W] [--pipe=FIFO]
       i2ctool --write --bus=BUS --addr=ADDRESS REGISTER --val=BYTE,... [--width=W] [--flag=F]

Reads or writes one register of an I2C device.

  --read             read N bytes
  --write            write the bytes of --val
  --bus=BUS          /dev/i2c-N, i2c-N or N (decimal)
  --addr=ADDRESS     address of the device, 0 to 0xff
  --count=N          bytes to read
  --val=BYTE,...     bytes to write; none after '=' only sets the device's register pointer
  --width=8|16       width of a data item (8); an item of 16 bits is two bytes, low byte first

REGISTER is one of
  --reg=R            a register number of one byte
  --reg16=R          a register number of two bytes
  --regblock=R       a block: one byte for a number up to 0xff, else two; items of 8 bits

  --reg_le           16-bit numbers and items go over the wire low byte first (else high byte first)
  --flag=pdc         append the packet error code to what is written, for devices that check it;
                     a simulated device refuses a wrong code
  --no_control       the caller holds the control of the bus already
)";

constexpr const char kExamples[] = R"(
Examples:
  i2ctool --read --bus=/dev/i2c-1 --addr=0x31 --reg=0x00 --count=1
  i2ctool --write --bus=1 --addr=0x31 --reg=0x02 --val=0x5a
  i2ctool --read --bus=2 --addr=0x40 --reg16=0x0004 --width=16 --count=2
)";

constexpr const char *kHelp[] = {kUsage, kAccessHelp, kBoardHelp, kExamples};

bool set_bus(I2cOptions *options, const char *text) {
    options->bus = board::parse_i2c_bus(text);
    return options->bus.has_value();
}

bool set_flag_name(I2cOptions *options, const char *text) {
    options->with_pec = std::strcmp(text, "pdc") == 0;
    return options->with_pec || *text == '\0';
}

template <NumberWidth kWidth>
bool set_register(I2cOptions *options, const char *text) {
    const auto number = board::parse_number(text, UINT32_MAX);
    options->target.number = number.value_or(0);
    options->target.number_width = kWidth;
    ++options->register_options;
    return number.has_value();
}

constexpr const char *kRegisterNumber = "a register number";

constexpr auto kRows =
    join(kAccessRows<I2cOptions>,
         std::to_array<OptionRow<I2cOptions>>({
             {"bus", required_argument, set_bus, "/dev/i2c-N, i2c-N or N"},
             {"addr", required_argument, set_number<&I2cOptions::address, 0xFF>,
              "an address up to 0xff"},
             {"count", required_argument, set_count<&DataOptions::count, kMaxI2cData>,
              "1 to 8189 bytes"},
             {"val", required_argument, set_values, ""},
             {"width", required_argument, set_width<2>, "8 or 16"},
             {"reg", required_argument, set_register<NumberWidth::k8>, kRegisterNumber},
             {"reg16", required_argument, set_register<NumberWidth::k16>, kRegisterNumber},
             {"regblock", required_argument, set_register<NumberWidth::kBlock>, kRegisterNumber},
             {"reg_le", no_argument,
              [](I2cOptions *o, const char *) { return o->target.little_endian = true; }, ""},
             {"flag", required_argument, set_flag_name, "pdc or nothing"},
             {"no_control", no_argument, ignore, ""},
         }));

// The library's command line for a flagged write through the broker has the register option glued
// to --busbroker_req.
void split_glued_option(int argc, char **argv, I2cOptions *options) {
    constexpr std::string_view kGlue = "--busbroker_req";
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument.size() > kGlue.size() + 2 && argument.starts_with(kGlue) &&
            argument[kGlue.size()] == '-') {
            options->through_broker = true;
            argv[i] += kGlue.size();
        }
    }
}

std::optional<ExitStatus> check_target(const I2cOptions &options) {
    return check_rules({
        one_operation(options),
        {!options.bus, "--bus is missing"},
        {!options.address, "--addr is missing"},
        {options.register_options == 0, "one of --reg, --reg16 and --regblock is needed"},
        {options.register_options > 1, "--reg, --reg16 and --regblock exclude each other"},
        {options.read && options.with_pec, "--flag goes with --write"},
    });
}

std::optional<ExitStatus> refuse_register(const board::I2cRegister &target, size_t size) {
    switch (check_register(target, size)) {
        case RegisterProblem::kNone:
            return std::nullopt;
        case RegisterProblem::kNumberTooLarge:
            return usage_error("register number 0x%x does not fit: at most 0x%x", target.number,
                               target.number_width == NumberWidth::k8 ? 0xFFU : 0xFFFFU);
        case RegisterProblem::kOddCount:
            return half_item_error(size, 2);
        case RegisterProblem::kTooMuchData:
            break;
    }
    return usage_error("%zu bytes are too many for one transfer", size);
}

}  // namespace

std::optional<ExitStatus> parse_i2c_options(int argc, char **argv, I2cOptions *options) {
    split_glued_option(argc, argv, options);
    if (const auto status = parse_options(argc, argv, kRows, kHelp, options)) {
        return status;
    }
    if (const auto status = check_target(*options)) {
        return status;
    }
    if (const auto status = take_data(options, {.unit_bytes = 1,
                                                .expected_values = "up to 8189 bytes, separated "
                                                                   "by commas",
                                                .may_be_empty = true})) {
        return status;
    }
    options->target.bus = *options->bus;
    options->target.address = static_cast<uint8_t>(*options->address);
    options->target.wide_items = options->item_bytes == 2;
    return refuse_register(options->target, options->size);
}

}  // namespace diag::tools
