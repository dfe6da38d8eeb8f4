// SPDX-License-Identifier: MIT
// Chips, registers and fields as the JSON of --json shows them.
#ifndef DIAGS_DIAGCTL_JSON_VIEW_H
#define DIAGS_DIAGCTL_JSON_VIEW_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "device_tree.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"

namespace diag::diagctl {

using Json = nlohmann::ordered_json;

// The start of every document: "format", "command".
Json json_document(const std::string &command);
// The document of a command that has failed.
Json json_failure(const std::string &command, ExitStatus status, const std::string &message);
// The document as text. Bytes that are no UTF-8, from a tool's message say, are replaced.
std::string json_text(const Json &document);

Json json_of(const Chip &chip);
Json json_of(const device_node &node, const reg_def &reg);  // as described, fields included
Json json_of(const DecodedField &decoded);
Json json_reference(const reg_def &reg);                         // name and offset alone
void put_value(Json &json, std::uint32_t value, unsigned bits);  // "value" and "hex"

}  // namespace diag::diagctl

#endif
