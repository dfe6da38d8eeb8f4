// SPDX-License-Identifier: MIT
// The board description that the daemon serves.
#ifndef DIAGS_TOOLS_BUSBROKER_DESCRIPTION_H
#define DIAGS_TOOLS_BUSBROKER_DESCRIPTION_H

#include <optional>
#include <string>

#include "device_tree.h"

#include "diags/broker/protocol.h"

namespace diag::daemon {

class Description {
  public:
    // Throws StartError. A description in the text form may look for the cards of its slots, with
    // the tools that PATH leads to.
    explicit Description(const std::string &path);
    ~Description();
    Description(const Description &) = delete;
    Description &operator=(const Description &) = delete;

    const device_tree &tree() const { return tree_; }

    // Where the description wants the daemon to be.
    const std::optional<broker::Address> &address() const { return address_; }

  private:
    void take_address(const std::string &path, const socket_cfg &socket);

    device_tree tree_ = {nullptr, nullptr};
    std::optional<broker::Address> address_;
};

}  // namespace diag::daemon

#endif
