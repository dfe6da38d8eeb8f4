// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include "diag_util.h"

namespace {

// Levels 1 to 3 are silent by default, and parsers and tool calls say a lot there.
void silent_diag_print(benchmark::State &state) {
    for ([[maybe_unused]] auto round : state) {
        diag_print(3, "%s : offset 0x%02x = 0x%x\n", "REGISTER", 0x10U, 0x55U);
    }
}

BENCHMARK(silent_diag_print);

}  // namespace
