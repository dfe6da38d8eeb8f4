// SPDX-License-Identifier: MIT
// Who owns what while an answer is being rebuilt.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_RECEIVE_FIELDS_H
#define DIAGS_COMMON_SRC_BUSBROKER_RECEIVE_FIELDS_H

#include <cstddef>

#include "busbroker.h"

namespace diag {

// Longest text of a hexadecimal field.
inline constexpr size_t kHexFieldLength = 8;

// Frees the field's text, unless a text of the record has become of it, and forgets it.
void drop_field_buffer(tool_info &ctx);

// Makes room for a field of `length` characters and its NUL, zeroed, in place of the one before.
// False, after a message, without memory.
bool renew_field_buffer(tool_info &ctx, size_t length, const char *function);

// Frees the record with all its texts, the field's one included, and forgets them.
void drop_record(tool_info &ctx);

}  // namespace diag

#endif
