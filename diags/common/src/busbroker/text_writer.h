// SPDX-License-Identifier: MIT
// Writing the text of a frame or of its data into a bounded buffer. Inline and without printf: it
// is in the path of every access.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_TEXT_WRITER_H
#define DIAGS_COMMON_SRC_BUSBROKER_TEXT_WRITER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace diag {

// Cuts what does not fit; the text is ended by a NUL at every moment.
class TextWriter {
  public:
    // `size` is at least 1.
    TextWriter(char *buffer, size_t size) : buffer_(buffer), room_(size - 1) { *buffer_ = '\0'; }

    size_t length() const { return length_; }

    void append(const char *text, size_t length) {
        const size_t taken = std::min(length, room_ - length_);
        std::memcpy(buffer_ + length_, text, taken);
        end_at(length_ + taken);
    }

    void append(const char *text) { append(text, std::strlen(text)); }

    void put(char character) { append(&character, 1); }

    // As many lower-case digits as `width` says, at most 8.
    void hex(uint32_t value, size_t width) {
        std::array<char, 8> digits;
        for (size_t i = 0; i < width; i++) {
            digits[i] = "0123456789abcdef"[value >> (4 * (width - 1 - i)) & 0xF];
        }
        append(digits.data(), width);
    }

    // The decimal number with at least `width` digits, of which the first `width` are kept: the
    // field is that wide, so 100 in two digits is 10.
    void leading_digits(uint32_t value, size_t width) {
        std::array<char, 10> digits;
        size_t count = 0;
        for (; value != 0 || count < width; value /= 10) {
            digits[count++] = static_cast<char>('0' + value % 10);
        }
        for (size_t i = 0; i < width; i++) {
            put(digits[count - 1 - i]);
        }
    }

  private:
    void end_at(size_t length) {
        length_ = length;
        buffer_[length_] = '\0';
    }

    char *buffer_;
    size_t room_;
    size_t length_ = 0;
};

}  // namespace diag

#endif
