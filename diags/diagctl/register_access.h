// SPDX-License-Identifier: MIT
// Reading and writing a chip's registers through the library, with failures in one clear line.
#ifndef DIAGS_DIAGCTL_REGISTER_ACCESS_H
#define DIAGS_DIAGCTL_REGISTER_ACCESS_H

#include <cstdint>
#include <optional>
#include <string>

#include "device_tree.h"

#include "diags/diagctl/answer_pipe.h"
#include "diags/diagctl/captured_output.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/interruption.h"
#include "diags/diagctl/mux_steps.h"
#include "diags/diagctl/register_port.h"
#include "diags/diagctl/tool_failure.h"

namespace diag::diagctl {

// Accesses by tool programs, on every bus that one reaches. Failures are those of make_route() and
// mux_steps(), else 6 unless the tool knows better, 130 for an interrupted tool.
class RegisterAccess : public RegisterPort {
  public:
    // `verbosity` not 0: what the library and the tools say goes to standard error as well.
    explicit RegisterAccess(int verbosity) : verbosity_(verbosity) {}

    void select(const Chip &chip) override;
    RegisterBytes read(const Chip &chip, const reg_def &reg) override;
    void write(const Chip &chip, const reg_def &reg, std::uint32_t value) override;

  private:
    void set(MuxStep &mux);
    template <typename Call>
    CapturedText call(int message_level, Call &&call) const;
    [[noreturn]] void fail_access(const std::string &what, const ToolFailure &failure);

    int verbosity_;
    std::optional<AnswerPipe> pipe_;  // made for the first reading
    InterruptWatch watch_;
};

}  // namespace diag::diagctl

#endif
