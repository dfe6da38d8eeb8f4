// SPDX-License-Identifier: MIT
#include "diags/common/src/device_tree/line_reader.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "diag_types.h"

#include "diags/common/src/lib/fields.h"

namespace diag {

namespace {

constexpr size_t kFirstCapacity = 1 << 16;

// Without the carriage return at its end: files that were written elsewhere end their lines in two
// characters.
size_t drop_carriage_return(char *line, size_t length, bool has_line_feed) {
    const size_t text = has_line_feed ? length - 1 : length;
    if (text == 0 || line[text - 1] != '\r') {
        return length;
    }
    line[text - 1] = line[text];
    line[text] = '\0';
    return length - 1;
}

}  // namespace

LineReader::LineReader(const char *path)
    : fd_(open(path, O_RDONLY | O_CLOEXEC)),
      has_positions_(fd_.valid() && lseek(fd_.get(), 0, SEEK_CUR) != -1) {}

char *LineReader::next() {
    while (status_ == 0) {
        if (begin_ < end_) {
            buffer_.get()[begin_] = at_begin_;
        }
        size_t length = find_line();
        if (length == 0) {
            break;
        }
        char *line = buffer_.get() + begin_;
        begin_ += length;
        at_begin_ = line[length];
        line[length] = '\0';
        const bool has_line_feed = line[length - 1] == '\n';
        length = drop_carriage_return(line, length, has_line_feed);
        line_feed_ = has_line_feed ? line + length - 1 : nullptr;
        if (length > (has_line_feed ? 1 : 0)) {
            return line;
        }
    }
    return nullptr;
}

// The length of the line at begin_; 0 at the end of the file.
size_t LineReader::find_line() {
    // The first character may just have been put back: it is looked at alone, as a wide load would
    // wait for it.
    for (size_t seen = begin_ < end_ && buffer_.get()[begin_] != '\n' ? 1 : 0;;) {
        const size_t there = end_ - begin_;
        const char *line = buffer_.get() + begin_;
        if (const void *end = there > seen ? std::memchr(line + seen, '\n', there - seen) : nullptr;
            end != nullptr) {
            return static_cast<size_t>(static_cast<const char *>(end) - line) + 1;
        }
        seen = there;
        if (!fill()) {
            return status_ == 0 ? seen : 0;
        }
    }
}

// False when nothing more can be read.
bool LineReader::fill() {
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == capacity_ && !grow()) {
        status_ = DIAG_E_FAIL | ENOMEM;
        return false;
    }
    ssize_t got = 0;
    do {
        got = read(fd_.get(), buffer_.get() + end_, capacity_ - end_);
    } while (got == -1 && errno == EINTR);
    if (got < 0) {
        status_ = DIAG_E_FAIL | (static_cast<uint32_t>(errno) & 0xFFFF);
        return false;
    }
    end_ += static_cast<size_t>(got);
    read_to_ += got;
    return got > 0;
}

bool LineReader::grow() {
    const size_t capacity = capacity_ != 0 ? 2 * capacity_ : kFirstCapacity;
    auto *larger = static_cast<char *>(std::realloc(buffer_.get(), capacity + 1));
    if (larger == nullptr) {
        return false;
    }
    static_cast<void>(buffer_.release());  // realloc has freed it or handed it back
    buffer_.reset(larger);
    capacity_ = capacity;
    return true;
}

off_t LineReader::position() const {
    return has_positions_ ? read_to_ - static_cast<off_t>(end_ - begin_) : -1;
}

bool LineReader::go_to(off_t position) {
    if (position < 0) {
        errno = ESPIPE;
        return false;
    }
    if (lseek(fd_.get(), position, SEEK_SET) == -1) {
        return false;
    }
    read_to_ = position;
    begin_ = 0;
    end_ = 0;
    return true;
}

bool is_delimiter(const char *line) {
    return starts_with(line, "=====");
}

}  // namespace diag
