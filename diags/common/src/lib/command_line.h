// SPDX-License-Identifier: MIT
// The command line of a tool program: built piece by piece in a bounded buffer that cuts what does
// not fit.
#ifndef DIAGS_COMMON_SRC_LIB_COMMAND_LINE_H
#define DIAGS_COMMON_SRC_LIB_COMMAND_LINE_H

#include <cstddef>

#include "diag_util.h"

namespace diag {

class CommandLine {
  public:
    void append(const char *format, ...) __attribute__((format(printf, 2, 3)));

    // "0x12,0x04" by `count` bytes, or "0x12,0x4" without padding; nothing when `count` is below 1.
    enum class Padding { kTwoDigits, kNone };
    void append_values(const unsigned char *data, int count, Padding padding);

    const char *text() const { return text_; }
    size_t length() const { return length_; }
    bool is_full() const { return length_ == sizeof text_ - 1; }

  private:
    char text_[SYS_CMD_MAX_SIZE] = "";
    size_t length_ = 0;
};

}  // namespace diag

#endif
