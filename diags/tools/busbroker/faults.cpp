// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/faults.h"

namespace diag::daemon {

void Faults::corrupt(std::string *bytes) {
    char &byte = (*bytes)[random_() % bytes->size()];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << random_() % 8));
}

}  // namespace diag::daemon
