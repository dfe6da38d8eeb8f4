// SPDX-License-Identifier: MIT
// Reading and writing a chip's registers through the library, with failures in one clear line.
#ifndef DIAGS_DIAGCTL_REGISTER_ACCESS_H
#define DIAGS_DIAGCTL_REGISTER_ACCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device_tree.h"
#include "tool_calls.h"

#include "diags/diagctl/answer_pipe.h"
#include "diags/diagctl/captured_output.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/interruption.h"

namespace diag::diagctl {

// How one register is reached, made from its description. The making throws CliError: status 5 for
// a bus that cannot be reached yet, 3 for numbers that the bus cannot carry.
struct RegisterRoute {
    RegisterRoute(const Chip &chip, const reg_def &reg);

    std::string bus;
    unsigned address;
    unsigned offset;
    unsigned count;  // bytes
    reg_info info;

    std::string text() const;  // "1 byte of register 0x10 at /dev/i2c-1 address 0x60"
};

// One mux on the way to a chip, alone and with its bus.
struct MuxStep {
    mux_entry entry;    // next is null
    std::string place;  // "mux 1 of 2 (/dev/i2c-1 address 0x70)"
};

// The muxes of the chip from the host side on. Throws CliError as above.
std::vector<MuxStep> mux_steps(const Chip &chip);

// Accesses for real. Every failure throws CliError: 6 unless the tool knows better, 130 for an
// interrupted tool.
class RegisterAccess {
  public:
    // `verbosity` not 0: what the library and the tools say goes to standard error as well.
    explicit RegisterAccess(int verbosity) : verbosity_(verbosity) {}

    void select(const Chip &chip);
    std::vector<std::uint8_t> read(const Chip &chip, const reg_def &reg);
    void write(const Chip &chip, const reg_def &reg, std::uint32_t value);

  private:
    template <typename Call>
    CapturedText call(Call &&call) const;
    [[noreturn]] void fail_read(const std::string &what, std::uint32_t status,
                                const CapturedText &said);
    [[noreturn]] void fail_write(const std::string &what, const CapturedText &said);

    int verbosity_;
    std::optional<AnswerPipe> pipe_;  // made for the first reading
    InterruptWatch watch_;
};

// The command lines that selecting the chip, or writing the value, would run. Nothing is run.
std::vector<std::string> preview_select(const Chip &chip);
std::vector<std::string> preview_write(const Chip &chip, const reg_def &reg, std::uint32_t value);

}  // namespace diag::diagctl

#endif
