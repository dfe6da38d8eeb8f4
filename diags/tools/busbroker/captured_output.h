// SPDX-License-Identifier: MIT
// Holds back what the library and the tool programs that it runs print.
#ifndef DIAGS_TOOLS_BUSBROKER_CAPTURED_OUTPUT_H
#define DIAGS_TOOLS_BUSBROKER_CAPTURED_OUTPUT_H

#include <array>
#include <string>
#include <unistd.h>

namespace diag::daemon {

// While it lives, standard output and standard error lead into memory. One at a time.
class CapturedOutput {
  public:
    CapturedOutput();  // throws StartError
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // Ends the capture.
    struct Text {
        std::string output;
        std::string errors;
    };
    Text finish();

  private:
    // One of the two descriptors.
    struct Stream {
        int descriptor;
        int memory = -1;
        int saved = -1;
    };

    static bool redirect(Stream *stream);
    void restore();

    std::array<Stream, 2> streams_ = {{{STDOUT_FILENO}, {STDERR_FILENO}}};
};

}  // namespace diag::daemon

#endif
