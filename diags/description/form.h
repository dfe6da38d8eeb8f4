// SPDX-License-Identifier: MIT
// The two forms of a device description, told apart by how the file begins.
#ifndef DIAGS_DESCRIPTION_FORM_H
#define DIAGS_DESCRIPTION_FORM_H

#include <cstdint>
#include <string_view>

namespace diag::description {

enum class Form : uint8_t { kXml, kText };

// `start` is the beginning of the file; a few hundred bytes will do. XML begins with "<" behind
// white space, or with a byte order mark. A file of nothing but white space counts as XML: the XML
// parser has the better word for it.
Form form_of(std::string_view start);

}  // namespace diag::description

#endif
