// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_DESCRIPTION_H
#define DIAGS_BOARD_SIM_DESCRIPTION_H

#include <string>

#include "device_tree.h"

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/slots.h"

namespace diag::board::sim {

// A loaded board description and its owner.
class Description {
  public:
    // Throws BoardError. The library's own messages go to standard output.
    explicit Description(const BoardFile &board_file);
    ~Description();
    Description(const Description &) = delete;
    Description &operator=(const Description &) = delete;

    const device_tree &tree() const { return head_; }
    const Slots &slots() const { return slots_; }

  private:
    // Loads the file at `source`; complaints are about `path`.
    void load(const std::string &path, const std::string &source, bool is_xml);

    Slots slots_;
    device_tree head_ = {nullptr, nullptr};
};

}  // namespace diag::board::sim

#endif
