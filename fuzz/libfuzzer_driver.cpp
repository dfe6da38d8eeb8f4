// SPDX-License-Identifier: MIT
// Lets libFuzzer drive a target: ./dev fuzz.
#include <cstddef>

#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    diag::fuzz::run_one({data, size});
    return 0;
}
