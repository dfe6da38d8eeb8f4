// SPDX-License-Identifier: MIT
#include "diags/description/form.h"

#include <cstddef>

namespace diag::description {

Form form_of(std::string_view start) {
    for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
        if (start.starts_with(mark)) {
            return Form::kXml;
        }
    }
    const std::size_t first = start.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos || start[first] == '<' ? Form::kXml : Form::kText;
}

}  // namespace diag::description
