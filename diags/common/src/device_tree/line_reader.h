// SPDX-License-Identifier: MIT
// A text description, line by line.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_LINE_READER_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_LINE_READER_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/types.h>

namespace diag {

class LineReader {
  public:
    explicit LineReader(const char *path) : file_(std::fopen(path, "re")) {}
    ~LineReader() { std::free(line_); }
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;

    bool is_open() const { return file_ != nullptr; }

    // The next line that is not empty, with its line feed if it has one; a carriage return at the
    // end is dropped. It lives until the next call and may be changed. Null at the end of the file,
    // and when it cannot be read: status() tells.
    char *next();

    // 0, or DIAG_E_FAIL with the errno of the read that failed.
    uint32_t status() const { return status_; }

    // Where the next line begins, -1 where a file has no positions; and going back there.
    off_t position() { return ftello(file_.get()); }
    bool go_to(off_t position);

  private:
    struct CloseFile {
        void operator()(FILE *file) const { std::fclose(file); }
    };

    std::unique_ptr<FILE, CloseFile> file_;
    char *line_ = nullptr;
    size_t capacity_ = 0;
    uint32_t status_ = 0;
};

// "=====" ends the header, and each device.
bool is_delimiter(const char *line);

}  // namespace diag

#endif
