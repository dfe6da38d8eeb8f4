// SPDX-License-Identifier: MIT
// A file descriptor with its owner, and writing that goes through to the last byte.
#ifndef DIAGS_TOOLS_DESCRIPTOR_H
#define DIAGS_TOOLS_DESCRIPTOR_H

#include <cstdint>
#include <span>
#include <unistd.h>

namespace diag::tools {

class Descriptor {
  public:
    Descriptor() = default;
    ~Descriptor() { reset(-1); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    void reset(int number) {
        if (number_ >= 0) {
            close(number_);
        }
        number_ = number;
    }
    int get() const { return number_; }

  private:
    int number_ = -1;
};

// 0, or -1 with errno set; ETIMEDOUT when the other end takes nothing for seconds.
int write_all(int descriptor, std::span<const uint8_t> bytes);

}  // namespace diag::tools

#endif
