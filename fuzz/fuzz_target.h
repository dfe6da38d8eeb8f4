// SPDX-License-Identifier: MIT
#ifndef FUZZ_FUZZ_TARGET_H
#define FUZZ_FUZZ_TARGET_H

#include <cstdint>
#include <span>

namespace diag::fuzz {

// What a target does with one input. Ends the process when something does not hold.
void run_one(std::span<const uint8_t> input);

}  // namespace diag::fuzz

#endif
