// SPDX-License-Identifier: MIT
// A device description, loaded, checked and owned.
#ifndef DIAGS_DIAGCTL_DESCRIPTION_H
#define DIAGS_DIAGCTL_DESCRIPTION_H

#include <cstddef>
#include <string>
#include <vector>

#include "device_tree.h"

namespace diag::diagctl {

// A chip and the name under which it can be asked for: its own, with "#2" behind it when it is the
// second of several chips of one name.
struct Chip {
    const device_node *node;
    std::string label;
};

class Description {
  public:
    // Loads the XML form. Throws CliError with status 3 for a file that cannot be read, is no
    // XML, or describes something that cannot be meant. `verbosity`: level of the library's
    // messages; they go to standard error when it is not 0.
    Description(const std::string &path, int verbosity);
    ~Description();
    Description(const Description &) = delete;
    Description &operator=(const Description &) = delete;

    const std::string &path() const { return path_; }
    const std::vector<Chip> &chips() const { return chips_; }

  private:
    void load(int verbosity);
    void name_chips();

    std::string path_;
    device_tree head_{};
    std::vector<Chip> chips_;
};

}  // namespace diag::diagctl

#endif
