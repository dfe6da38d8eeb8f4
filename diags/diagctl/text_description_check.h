// SPDX-License-Identifier: MIT
// What the library passes over in the text form of a description.
#ifndef DIAGS_DIAGCTL_TEXT_DESCRIPTION_CHECK_H
#define DIAGS_DIAGCTL_TEXT_DESCRIPTION_CHECK_H

#include <optional>
#include <string_view>

#include "diags/diagctl/description_check.h"

namespace diag::diagctl {

struct TextDescriptionFacts {
    std::optional<DescriptionError> error;  // the first thing that cannot be meant
    bool has_modules = false;  // loading it looks for optional modules, which runs tools
};

TextDescriptionFacts check_text_description(std::string_view text);

}  // namespace diag::diagctl

#endif
