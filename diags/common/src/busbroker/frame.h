// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_BUSBROKER_FRAME_H
#define DIAGS_COMMON_SRC_BUSBROKER_FRAME_H

#include <cstddef>
#include <optional>

namespace diag {

// How many bytes the caller of the request in `frame` has room for: those that a read asks for, an
// id and the NUL behind it, none for requests that bring back nothing. Empty for what is no frame.
std::optional<size_t> room_for_answer(const char *frame, size_t length);

}  // namespace diag

#endif
