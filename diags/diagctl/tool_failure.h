// SPDX-License-Identifier: MIT
// Why a call of the library that runs a tool has failed.
#ifndef DIAGS_DIAGCTL_TOOL_FAILURE_H
#define DIAGS_DIAGCTL_TOOL_FAILURE_H

#include <cstdint>
#include <string>

#include "diags/diagctl/captured_output.h"
#include "diags/exit_status.h"

namespace diag::diagctl {

struct ToolFailure {
    ExitStatus status;
    std::string reason;
};

// Of a reading call, which hands on how its tool has ended.
ToolFailure read_failure(const char *tool, std::uint32_t status, const CapturedText &said);

// Of a reading call that keeps to itself how its tool has ended.
ToolFailure silent_read_failure(const char *tool, std::uint32_t status, const CapturedText &said);

// Of a writing call, which tells no more than that it failed.
ToolFailure write_failure(const char *tool, const CapturedText &said);

}  // namespace diag::diagctl

#endif
