// SPDX-License-Identifier: MIT
// A device description, loaded, checked and owned.
#ifndef DIAGS_DIAGCTL_DESCRIPTION_H
#define DIAGS_DIAGCTL_DESCRIPTION_H

#include <cstddef>
#include <cstdint>
#include <functional>
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

// How the optional modules of a text description are looked for: loading it runs tools that read
// which slots hold a card and of which type.
struct ModuleSearch {
    bool allowed = true;            // else no tool is run and no card is found
    std::function<void()> prepare;  // called before the tools are run, and only then; may be empty
    const char *circumstances = "in a dry run";  // in which they are not looked for
};

class Description {
  public:
    // Loads either form. Throws CliError with status 3 for a file that cannot be read, is neither
    // form, or describes something that cannot be meant. `verbosity`: level of the library's
    // messages; they go to standard error when it is not 0.
    Description(const std::string &path, int verbosity, const ModuleSearch &search = {});
    ~Description();
    Description(const Description &) = delete;
    Description &operator=(const Description &) = delete;

    const std::string &path() const { return path_; }
    const std::vector<Chip> &chips() const { return chips_; }
    device_tree &tree() { return head_; }

    // Whether the description has optional modules, and what is to be told about them.
    bool has_modules() const { return has_modules_; }
    const std::vector<std::string> &remarks() const { return remarks_; }

  private:
    void load_xml(int verbosity);
    void load_text(const std::string &text, int verbosity, const ModuleSearch &search);
    void load_with_modules(int verbosity, const ModuleSearch &search);
    void note_modules(std::uint32_t status, const std::string &library, int verbosity);
    void name_chips();

    std::string path_;
    device_tree head_{};
    std::vector<Chip> chips_;
    bool has_modules_ = false;
    std::vector<std::string> remarks_;
};

}  // namespace diag::diagctl

#endif
