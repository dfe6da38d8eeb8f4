// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_LIB_TOOL_OUTPUT_H
#define DIAGS_COMMON_SRC_LIB_TOOL_OUTPUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "diags/common/src/lib/memory.h"

namespace diag {

// Keeps the first bytes that a tool writes and drops the rest, so that a tool that writes more than
// a pipe holds comes to its end. The caller's buffer is filled only once the tool is known to have
// succeeded.
class ToolOutput {
  public:
    // `wanted` bytes are kept; 0 and less keep none.
    explicit ToolOutput(int wanted) : wanted_(wanted > 0 ? static_cast<size_t>(wanted) : 0) {}

    // Takes one piece of what can be read from `fd` without blocking; false when nothing is there.
    bool take_from(int fd);

    // Nothing more would be kept.
    bool is_full() const { return kept_ == wanted_ || !complete_; }

    // Copies what was kept to `result`. Answers what a single read would have: the number of
    // bytes, -1 for none although some were wanted.
    int deliver(uint8_t *result) const;

    // What was kept, as text.
    std::string_view text() const;

    // False when there was no memory to keep all that was wanted.
    bool is_complete() const { return complete_; }

  private:
    // Up to this many bytes, nearly every register, need no heap.
    static constexpr size_t kInPlace = 4096;

    const uint8_t *data() const { return heap_ != nullptr ? heap_.get() : in_place_.data(); }
    void keep(const uint8_t *data, size_t size);
    bool grow(size_t size);

    size_t wanted_;
    size_t kept_ = 0;
    size_t capacity_ = kInPlace;
    bool complete_ = true;
    std::array<uint8_t, kInPlace> in_place_;
    Owned<uint8_t> heap_;
};

}  // namespace diag

#endif
