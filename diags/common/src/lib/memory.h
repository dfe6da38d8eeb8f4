// SPDX-License-Identifier: MIT
// Memory for records and strings that cross the edge: malloc memory, null when there is none.
#ifndef DIAGS_COMMON_SRC_LIB_MEMORY_H
#define DIAGS_COMMON_SRC_LIB_MEMORY_H

#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace diag {

// A zeroed record, or null.
template <typename Record>
Record *allocate() {
    static_assert(std::is_trivially_copyable_v<Record>, "records are plain C structures");
    // Not calloc: a description has millions of small records, and this is faster for them.
    void *memory = std::malloc(sizeof(Record));
    return memory != nullptr ? new (memory) Record{} : nullptr;
}

// A copy of exactly the needed size, or null.
char *copy_text(const char *text);

// Replaces the text that *slot owns by a copy. False, with *slot as it was, without memory.
bool replace_text(char **slot, const char *text);

struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};

// Heap memory under construction.
template <typename Record>
using Owned = std::unique_ptr<Record, FreeMemory>;

}  // namespace diag

#endif
