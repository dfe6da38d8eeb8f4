// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <string>

#include "device_tree.h"

#include "diags/diagctl/board_session.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/conversion_loss.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/output_file.h"
#include "diags/diagctl/text_description_check.h"

namespace diag::diagctl {
namespace {

std::string text_form(Description &description) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *const stream = open_memstream(&text, &size);
    const bool is_written = stream != nullptr && save_cfg_file(stream, &description.tree()) == 0;
    const bool is_closed = stream != nullptr && std::fclose(stream) == 0;
    const std::unique_ptr<char, void (*)(void *)> owned(text, std::free);
    if (!is_written || !is_closed) {
        fail(kExitAccessFailed, "the text form cannot be made: {}", std::strerror(errno));
    }
    return {text, size};
}

std::vector<std::string> warnings(const Description &description, const std::string &text) {
    std::vector<std::string> lines = description.remarks();
    if (description.has_modules()) {
        lines.emplace_back(
            "warning: the optional-module block is not written; cards that are present now are, "
            "as chips");
    }
    for (const Chip &chip : description.chips()) {
        if (const std::string loss = conversion_loss(chip); !loss.empty()) {
            lines.push_back(fmt::format("warning: chip \"{}\": {}", chip.label, loss));
        }
    }
    if (const auto error = check_text_description(text).error) {
        lines.push_back(fmt::format("warning: what is written cannot be read back, line {}: {}",
                                    error->line, error->message));
    }
    return lines;
}

}  // namespace

Outcome run_convert(const Options &options) {
    BoardSession board(options);
    Description description(options.file, options.verbosity, module_search(options, board));
    std::string text = text_form(description);
    Outcome outcome;
    outcome.remarks = warnings(description, text);
    if (options.output.empty()) {
        outcome.data = std::move(text);
    } else {
        write_output_file(options.output, text);
    }
    return outcome;
}

}  // namespace diag::diagctl
