// SPDX-License-Identifier: MIT
#include "diags/diagctl/preview.h"

#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "diag_util.h"

#include "diags/diagctl/library_call.h"
#include "diags/diagctl/mux_steps.h"
#include "diags/diagctl/register_route.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// Nothing can ever lie below a device.
constexpr const char kNowhere[] = "/dev/null/nowhere";

// While it lives, no tool program is found and so none is run, and the library's calls that know
// of dry runs do not even look.
class NoTools {
  public:
    NoTools() {
        const char *path = std::getenv("PATH");
        if (path != nullptr) {
            saved_path_ = path;
        }
        setenv("PATH", kNowhere, 1);
        set_debug_enable(1);
    }
    ~NoTools() {
        set_debug_enable(0);
        saved_path_ ? setenv("PATH", saved_path_->c_str(), 1) : unsetenv("PATH");
    }
    NoTools(const NoTools &) = delete;
    NoTools &operator=(const NoTools &) = delete;

  private:
    std::optional<std::string> saved_path_;
};

// The library itself makes the command line, says it, and then fails to find the tool.
template <typename Call>
void add_commands(std::vector<PreviewStep> &steps, const char *action, const char *tool,
                  int message_level, Call &&call) {
    const NoTools no_tools;
    const CapturedText said = call_library(message_level, 0, std::forward<Call>(call));
    for (std::string &command : command_lines(said.library, tool)) {
        steps.push_back({action, std::move(command), true});
    }
}

}  // namespace

std::vector<PreviewStep> preview_select(const Chip &chip) {
    require_reachable(chip);
    std::vector<PreviewStep> steps;
    for (MuxStep &mux : mux_steps(chip)) {
        if (mux.kind->modifies) {
            steps.push_back(
                {"select",
                 fmt::format("the byte at memory address {}: bits {} changed to {}",
                             hex(mux.entry.addr, 32), hex(mux.entry.mask), hex(mux.entry.val)),
                 false});
            continue;
        }
        add_commands(steps, "select", mux.kind->tool, mux.kind->message_level,
                     [&] { set_muxes(&mux.entry); });
    }
    return steps;
}

std::vector<PreviewStep> preview_write(const Chip &chip, const reg_def &reg, std::uint32_t value) {
    const std::unique_ptr<RegisterRoute> route = make_route(chip, reg);
    const std::vector<std::uint8_t> bytes = bytes_of_value(value, route->count(), route->order());
    std::vector<PreviewStep> steps;
    add_commands(steps, "write", route->tool(), route->message_level(),
                 [&] { route->write(bytes.data()); });
    return steps;
}

}  // namespace diag::diagctl
