// SPDX-License-Identifier: MIT
// Calling the library without its messages reaching the terminal, and reading them instead.
#ifndef DIAGS_DIAGCTL_LIBRARY_CALL_H
#define DIAGS_DIAGCTL_LIBRARY_CALL_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "diag_util.h"

#include "diags/diagctl/captured_output.h"

namespace diag::diagctl {

// Sets the library's verbosity level for the life of the object.
class VerbosityScope {
  public:
    explicit VerbosityScope(int level) : saved_(get_verb_level()) {
        set_verb_level(static_cast<unsigned>(level));
    }
    ~VerbosityScope() { set_verb_level(static_cast<unsigned>(saved_)); }
    VerbosityScope(const VerbosityScope &) = delete;
    VerbosityScope &operator=(const VerbosityScope &) = delete;

  private:
    int saved_;
};

void show_on_standard_error(const CapturedText &said);

// Runs `call` at the verbosity `level` and answers what was printed meanwhile; `shown` (not 0)
// also passes it on to standard error.
template <typename Call>
CapturedText call_library(int level, int shown, Call &&call) {
    const VerbosityScope verbosity(level);
    CapturedOutput capture;
    std::forward<Call>(call)();
    CapturedText said = capture.finish();
    if (shown != 0) {
        show_on_standard_error(said);
    }
    return said;
}

// ---- what the messages say ----

// The message of the last error without the names and line numbers in front of it; `otherwise`
// when there is none.
std::string library_error(std::string_view library, std::string_view otherwise);

// How many bytes the tool of a reading call has delivered; nothing when the call does not say.
std::optional<int> delivered_bytes(std::string_view library);

// How many bytes ipmii2c_get() has been given, which it tells by showing the answer.
std::optional<int> printed_bytes(std::string_view library);

// The command lines of `tool` that the library has run, or would run in a dry run, in order.
std::vector<std::string> command_lines(std::string_view library, std::string_view tool);

// The lines that begin with `start`, without control characters.
std::vector<std::string> lines_starting(std::string_view text, std::string_view start);

// The last line that is not blank, without control characters.
std::string last_line(std::string_view text);

// The first line that is not blank, without control characters.
std::string first_line(std::string_view text);

}  // namespace diag::diagctl

#endif
