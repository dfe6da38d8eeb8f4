// SPDX-License-Identifier: MIT
#include "diags/tools/i2ctool_options.h"

#include <cstring>
#include <getopt.h>
#include <iterator>
#include <string_view>

#include "diags/board/number.h"
#include "diags/tools/report.h"

namespace diag::tools {
namespace {

using board::NumberWidth;
using board::RegisterProblem;

constexpr const char *kHelp =
    R"(Usage: i2ctool --read  --bus=BUS --addr=ADDRESS REGISTER --count=N [--width=W] [--pipe=FIFO]
       i2ctool --write --bus=BUS --addr=ADDRESS REGISTER --val=BYTE,... [--width=W] [--flag=F]

Reads or writes one register of an I2C device. Numbers are 0x... or decimal.

  --read             read N bytes into FIFO, or as text to standard output without --pipe
  --write            write the bytes of --val
  --bus=BUS          /dev/i2c-N, i2c-N or N (decimal)
  --addr=ADDRESS     address of the device, 0 to 0xff
  --count=N          bytes to read
  --val=BYTE,...     bytes to write; none after '=' only sets the device's register pointer
  --width=8|16       width of a data item (8); an item of 16 bits is two bytes, low byte first
  --pipe=FIFO        somebody must have it open for reading

REGISTER is one of
  --reg=R            a register number of one byte
  --reg16=R          a register number of two bytes
  --regblock=R       a block: one byte for a number up to 0xff, else two; items of 8 bits

  --reg_le           16-bit numbers and items go over the wire low byte first (else high byte first)
  --flag=pdc         append the packet error code to what is written, for devices that check it;
                     a simulated device refuses a wrong code
  --no_control       the caller holds the control of the bus already
  --busbroker_req    go through the bus broker (none is set up yet: exit status 5)
  --help, --version

The board is the one whose running state file DIAG_BOARD names.
Exit status: 0 done, 2 usage, 3 unusable state file, 4 not permitted, 5 no such bus or no board,
6 no answer or access failed, 7 board held by another program, 8 timed out.

Examples:
  i2ctool --read --bus=/dev/i2c-1 --addr=0x31 --reg=0x00 --count=1
  i2ctool --write --bus=1 --addr=0x31 --reg=0x02 --val=0x5a
  i2ctool --read --bus=2 --addr=0x40 --reg16=0x0004 --width=16 --count=2
)";

using Handler = bool (*)(I2cOptions *, const char *);

bool set_address(I2cOptions *options, const char *text) {
    options->address = board::parse_number(text, 0xFF);
    return options->address.has_value();
}

bool set_bus(I2cOptions *options, const char *text) {
    options->bus = board::parse_i2c_bus(text);
    return options->bus.has_value();
}

bool set_count(I2cOptions *options, const char *text) {
    options->count = board::parse_number(text, board::kMaxI2cData);
    return options->count.value_or(0) != 0;
}

bool set_width(I2cOptions *options, const char *text) {
    const uint32_t bits = board::parse_decimal(text, 16).value_or(0);
    options->target.wide_items = bits == 16;
    return bits == 8 || bits == 16;
}

bool set_flag(I2cOptions *options, const char *text) {
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

bool set_values(I2cOptions *options, const char *text) {
    options->has_values = true;
    options->size = 0;
    std::string_view rest = text;
    while (!rest.empty()) {
        const size_t comma = std::min(rest.find(','), rest.size());
        const auto value = board::parse_number({rest.data(), comma}, 0xFF);
        if (!value || options->size == options->buffer.size() || comma + 1 == rest.size()) {
            return false;
        }
        options->buffer[options->size++] = static_cast<uint8_t>(*value);
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return true;
}

struct OptionRow {
    const char *name;
    int has_argument;
    Handler apply;
    const char *expected;  // of the argument
};

constexpr const char *kRegisterNumber = "a register number";

constexpr OptionRow kRows[] = {
    {"read", no_argument, [](I2cOptions *o, const char *) { return o->read = true; }, ""},
    {"write", no_argument, [](I2cOptions *o, const char *) { return o->write = true; }, ""},
    {"bus", required_argument, set_bus, "/dev/i2c-N, i2c-N or N"},
    {"addr", required_argument, set_address, "an address up to 0xff"},
    {"count", required_argument, set_count, "1 to 8189 bytes"},
    {"val", required_argument, set_values, "up to 8189 bytes, separated by commas"},
    {"width", required_argument, set_width, "8 or 16"},
    {"pipe", required_argument,
     [](I2cOptions *o, const char *text) { return *(o->pipe_path = text) != '\0'; }, "a path"},
    {"reg", required_argument, set_register<NumberWidth::k8>, kRegisterNumber},
    {"reg16", required_argument, set_register<NumberWidth::k16>, kRegisterNumber},
    {"regblock", required_argument, set_register<NumberWidth::kBlock>, kRegisterNumber},
    {"reg_le", no_argument,
     [](I2cOptions *o, const char *) { return o->target.little_endian = true; }, ""},
    {"flag", required_argument, set_flag, "pdc or nothing"},
    {"no_control", no_argument, [](I2cOptions *, const char *) { return true; }, ""},
    {"busbroker_req", no_argument,
     [](I2cOptions *o, const char *) { return o->through_broker = true; }, ""},
    {"help", no_argument, nullptr, ""},
    {"version", no_argument, nullptr, ""},
};
constexpr size_t kRowCount = std::size(kRows);

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

std::optional<ExitStatus> apply_options(int argc, char **argv, I2cOptions *options) {
    option table[kRowCount + 1] = {};
    for (size_t i = 0; i < kRowCount; ++i) {
        table[i] = {kRows[i].name, kRows[i].has_argument, nullptr, static_cast<int>(i) + 1};
    }
    opterr = 0;
    for (int code = 0; (code = getopt_long(argc, argv, ":", table, nullptr)) != -1;) {
        if (code < 1 || static_cast<size_t>(code) > kRowCount) {
            return refuse_option(code, argv);
        }
        const OptionRow &row = kRows[code - 1];
        if (row.apply == nullptr) {
            return *row.name == 'h' ? print(kHelp) : print_version();
        }
        if (!row.apply(options, optarg)) {
            return usage_error("--%s=%s: expected %s", row.name, optarg, row.expected);
        }
    }
    if (optind < argc) {
        return usage_error("unexpected argument '%s'", argv[optind]);
    }
    return std::nullopt;
}

// What is missing or does not go together, null when nothing is.
const char *find_contradiction(const I2cOptions &options) {
    const bool read = options.read;
    const struct {
        bool holds;
        const char *text;
    } kRules[] = {
        {options.read == options.write, "one of --read and --write is needed"},
        {!options.bus, "--bus is missing"},
        {!options.address, "--addr is missing"},
        {options.register_options == 0, "one of --reg, --reg16 and --regblock is needed"},
        {options.register_options > 1, "--reg, --reg16 and --regblock exclude each other"},
        {read && !options.count, "--count is missing"},
        {read && options.has_values, "--val goes with --write"},
        {read && options.with_pec, "--flag goes with --write"},
        {!read && !options.has_values, "--val is missing"},
        {!read && options.count.has_value(), "--count goes with --read"},
        {!read && options.pipe_path != nullptr, "--pipe goes with --read"},
    };
    for (const auto &rule : kRules) {
        if (rule.holds) {
            return rule.text;
        }
    }
    return nullptr;
}

std::optional<ExitStatus> refuse_register(const board::I2cRegister &target, size_t size) {
    switch (check_register(target, size)) {
        case RegisterProblem::kNone:
            return std::nullopt;
        case RegisterProblem::kNumberTooLarge:
            return usage_error("register number 0x%x does not fit: at most 0x%x", target.number,
                               target.number_width == NumberWidth::k8 ? 0xFFU : 0xFFFFU);
        case RegisterProblem::kOddCount:
            return usage_error("%zu bytes are no whole number of 16-bit items", size);
        case RegisterProblem::kTooMuchData:
            break;
    }
    return usage_error("%zu bytes are too many for one transfer", size);
}

}  // namespace

std::optional<ExitStatus> parse_i2c_options(int argc, char **argv, I2cOptions *options) {
    split_glued_option(argc, argv, options);
    if (const auto status = apply_options(argc, argv, options)) {
        return status;
    }
    if (const char *text = find_contradiction(*options)) {
        return usage_error("%s", text);
    }
    options->target.bus = *options->bus;
    options->target.address = static_cast<uint8_t>(*options->address);
    if (options->read) {
        options->size = *options->count;
    }
    return refuse_register(options->target, options->size);
}

}  // namespace diag::tools
