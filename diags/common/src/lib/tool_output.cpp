// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/tool_output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace diag {

bool ToolOutput::take_from(int fd) {
    std::array<uint8_t, kInPlace> chunk;
    ssize_t got = 0;
    do {
        got = read(fd, chunk.data(), chunk.size());
    } while (got == -1 && errno == EINTR);
    if (got <= 0) {
        return false;
    }
    keep(chunk.data(), static_cast<size_t>(got));
    return true;
}

void ToolOutput::keep(const uint8_t *data, size_t size) {
    const size_t taken = std::min(size, wanted_ - kept_);
    if (!complete_ || !grow(kept_ + taken)) {
        complete_ = false;
        return;
    }
    uint8_t *store = heap_ != nullptr ? heap_.get() : in_place_.data();
    std::copy_n(data, taken, store + kept_);
    kept_ += taken;
}

bool ToolOutput::grow(size_t size) {
    if (size <= capacity_) {
        return true;
    }
    const size_t capacity = std::max(size, capacity_ * 2);
    auto *larger = static_cast<uint8_t *>(std::realloc(heap_.get(), capacity));
    if (larger == nullptr) {
        return false;
    }
    if (heap_ == nullptr) {
        std::copy_n(in_place_.data(), kept_, larger);
    }
    static_cast<void>(heap_.release());  // realloc has freed it or handed it back
    heap_.reset(larger);
    capacity_ = capacity;
    return true;
}

int ToolOutput::deliver(uint8_t *result) const {
    if (kept_ == 0) {
        return wanted_ == 0 ? 0 : -1;
    }
    std::memcpy(result, data(), kept_);
    return static_cast<int>(kept_);
}

std::string_view ToolOutput::text() const {
    return {reinterpret_cast<const char *>(data()), kept_};
}

}  // namespace diag
