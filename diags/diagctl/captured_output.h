// SPDX-License-Identifier: MIT
// Holds back what the library and the tool programs print, so that standard output stays data.
#ifndef DIAGS_DIAGCTL_CAPTURED_OUTPUT_H
#define DIAGS_DIAGCTL_CAPTURED_OUTPUT_H

#include <string>

namespace diag::diagctl {

struct CapturedText {
    std::string library;  // from standard output: the library's messages
    std::string tools;    // from standard error: what tool programs and other libraries said
};

// While it lives, descriptors 1 and 2 of the process and of the programs it starts lead into
// memory. One at a time.
class CapturedOutput {
  public:
    CapturedOutput();  // throws CliError when there is no room or no descriptor
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // Ends the capture and answers its text.
    CapturedText finish();

  private:
    void restore();
    bool is_active_ = true;
};

// For a process that is about to end within a capture: writes the captured text to the real
// standard error, and answers the descriptor of that. Safe in a signal handler.
void relay_captured_output();
int real_standard_error();

}  // namespace diag::diagctl

#endif
