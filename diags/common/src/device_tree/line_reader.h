// SPDX-License-Identifier: MIT
// A text description, line by line.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_LINE_READER_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "diags/common/src/lib/memory.h"
#include "diags/common/src/lib/unique_fd.h"

namespace diag {

// Hands out the lines where they stand in its buffer: getline(), which copies and locks, would take
// a sixth of a load.
class LineReader {
  public:
    explicit LineReader(const char *path);

    bool is_open() const { return fd_.valid(); }

    // The next line that is not empty, with its line feed if it has one; a carriage return at the
    // end is dropped. It lives until the next call and may be changed. Null at the end of the file,
    // and when it cannot be read: status() tells.
    char *next();

    // Takes the line feed off the line that next() has answered.
    void cut_line_feed() {
        if (line_feed_ != nullptr) {
            *line_feed_ = '\0';
        }
    }

    // 0, or DIAG_E_FAIL with the errno of the read that failed.
    uint32_t status() const { return status_; }

    // Where the next line begins, -1 where a file has no positions; and going back there, false
    // with errno set.
    off_t position() const;
    bool go_to(off_t position);

  private:
    size_t find_line();
    bool fill();
    bool grow();

    UniqueFd fd_;
    bool has_positions_ = false;
    off_t read_to_ = 0;   // position of the file behind the buffer's contents
    Owned<char> buffer_;  // capacity_ characters, and one for the end of a line behind them
    size_t capacity_ = 0;
    size_t begin_ = 0;           // of the next line
    size_t end_ = 0;             // of what has been read
    char *line_feed_ = nullptr;  // of the line handed out last
    char at_begin_ = '\0';       // what stands at begin_ when the end of a line does not
    uint32_t status_ = 0;
};

// "=====" ends the header, and each device.
bool is_delimiter(const char *line);

}  // namespace diag

#endif
