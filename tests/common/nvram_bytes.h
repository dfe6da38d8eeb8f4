// SPDX-License-Identifier: MIT
#ifndef TESTS_COMMON_NVRAM_BYTES_H
#define TESTS_COMMON_NVRAM_BYTES_H

#include <cstdint>
#include <cstring>
#include <string>

namespace diag::test {

// The record that nvramtool hands over, as the bytes on the wire.
inline std::string nvram_bytes(uint8_t override, int32_t level) {
    std::string bytes(1068, '\x5A');
    bytes[1058] = static_cast<char>(override);
    std::memcpy(bytes.data() + 1060, &level, sizeof level);
    return bytes;
}

}  // namespace diag::test

#endif
