// SPDX-License-Identifier: MIT
// What the library passes over in the XML form of a description, so that its user learns of it.
#ifndef DIAGS_DIAGCTL_DESCRIPTION_CHECK_H
#define DIAGS_DIAGCTL_DESCRIPTION_CHECK_H

#include <libxml/tree.h>
#include <optional>
#include <string>

namespace diag::diagctl {

struct DescriptionError {
    long line;
    std::string message;  // names chip, register and field
};

// The first thing in the document that cannot be meant: a tag that must be there and is not, a
// number that is none or does not fit, a bit range beyond its register. Nothing when all is well.
std::optional<DescriptionError> find_description_error(const xmlDoc &doc);

}  // namespace diag::diagctl

#endif
