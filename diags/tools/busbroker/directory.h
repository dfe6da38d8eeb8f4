// SPDX-License-Identifier: MIT
// The devices that requests can name.
#ifndef DIAGS_TOOLS_BUSBROKER_DIRECTORY_H
#define DIAGS_TOOLS_BUSBROKER_DIRECTORY_H

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "device_tree.h"

#include "diags/tools/busbroker/device.h"
#include "diags/tools/busbroker/request_text.h"

namespace diag::daemon {

using DevicePointer = std::shared_ptr<const Device>;

class Directory {
  public:
    Directory() = default;  // knows raw places alone
    explicit Directory(const device_tree &tree);

    // Null for an id that nothing has, or two chips.
    DevicePointer find(std::string_view id) const;
    // The same; the name of a chip will do as well. Null for a text that is the id or the name of
    // several chips, whichever it is of which.
    DevicePointer find_asset(std::string_view text) const;

    // The id to use for an I2C place; empty for an address that cannot be.
    std::string dynamic_id(const DynamicId &wanted) const;

    size_t size() const { return by_id_.size(); }
    // What is wrong with the description, one line each. The chips they are about are not served.
    const std::vector<std::string> &problems() const { return problems_; }

  private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };
    // Null for an id that several have.
    using Map = std::unordered_map<std::string, DevicePointer, Hash, std::equal_to<>>;

    void add(const device_node &node, size_t position);
    void add_asset(std::string_view text, const DevicePointer &device);
    void drop_shared_ids();

    Map by_id_;
    Map by_asset_;                          // ids and names
    std::vector<DevicePointer> i2c_chips_;  // with those whose id others have too
    std::vector<std::string> problems_;
};

}  // namespace diag::daemon

#endif
