// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_BUSBROKER_FRAME_H
#define DIAGS_COMMON_SRC_BUSBROKER_FRAME_H

#include <cstddef>
#include <optional>

namespace diag {

// How many bytes the request in `frame` reads, if it is a read: what its caller has room for.
std::optional<size_t> bytes_to_read(const char *frame, size_t length);

}  // namespace diag

#endif
