// SPDX-License-Identifier: MIT
#include "diags/diagctl/value_name.h"

#include <vector>

#include "diags/diagctl/candidates.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/name_index.h"
#include "diags/diagctl/number.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

int width_of(const Target &target) {
    return target.field ? target.field->high - target.field->low + 1
                        : static_cast<int>(target.reg->size);
}

std::uint32_t parse_numeric_value(const Target &target, std::string_view text) {
    const int width = width_of(target);
    const auto value = parse_number(text);
    if (!value || *value >= std::uint64_t{1} << width) {
        fail(kExitUsage, "{} does not fit {}: it has {} bit{}, so {} at most", text, target.name(),
             width, width == 1 ? "" : "s", hex((std::uint64_t{1} << width) - 1, 4));
    }
    return static_cast<std::uint32_t>(*value);
}

std::uint32_t find_named_value(const Target &target, const bit_info *infos, std::string_view text) {
    std::vector<std::uint32_t> values;
    NameIndex index;
    for (const bit_info *info = infos; info != nullptr; info = info->next) {
        index.add(one_line(info->desc), values.size());
        values.push_back(info->value);
    }
    const std::vector<std::size_t> found = index.matches(text);
    if (found.size() == 1) {
        return values[found.front()];
    }
    if (found.size() > 1) {
        fail(kExitUsage, "{} values of {} are called \"{}\": give the number", found.size(),
             target.name(), one_line(text));
    }
    if (index.names().empty()) {
        fail(kExitUsage, "\"{}\" is no number, and {} has no named values", one_line(text),
             target.name());
    }
    fail(kExitUsage, "{} has no value \"{}\"{}", target.name(), one_line(text),
         nearest_hint(one_line(text), index.names()));
}

}  // namespace

std::uint32_t parse_value(const Target &target, std::string_view text) {
    const std::string clean = one_line(text);
    if (looks_like_number(clean)) {
        return parse_numeric_value(target, clean);
    }
    if (!target.field) {
        fail(kExitUsage, "\"{}\" is no number: whole registers take numbers, fields names as well",
             clean);
    }
    const bit_def *definition = target.field->definition;
    const std::uint32_t value =
        find_named_value(target, definition == nullptr ? nullptr : definition->infos, clean);
    return parse_numeric_value(target, fmt::format("{}", value));
}

}  // namespace diag::diagctl
