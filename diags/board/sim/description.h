// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_DESCRIPTION_H
#define DIAGS_BOARD_SIM_DESCRIPTION_H

#include <string>

#include "device_tree.h"

namespace diag::board::sim {

// A loaded board description and its owner.
class Description {
  public:
    // Throws BoardError. The library's own messages go to standard output.
    explicit Description(const std::string &path);
    ~Description();
    Description(const Description &) = delete;
    Description &operator=(const Description &) = delete;

    const device_tree &tree() const { return head_; }

  private:
    device_tree head_ = {nullptr, nullptr};
};

}  // namespace diag::board::sim

#endif
