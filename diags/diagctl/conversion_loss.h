// SPDX-License-Identifier: MIT
// What the text form that the library writes does not carry.
#ifndef DIAGS_DIAGCTL_CONVERSION_LOSS_H
#define DIAGS_DIAGCTL_CONVERSION_LOSS_H

#include <string>

#include "diags/diagctl/description.h"

namespace diag::diagctl {

// What of the chip is not written, or is read back as something else; in the words of a warning,
// empty when nothing is lost.
std::string conversion_loss(const Chip &chip);

}  // namespace diag::diagctl

#endif
