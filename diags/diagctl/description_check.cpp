// SPDX-License-Identifier: MIT
#include "diags/diagctl/description_check.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <libxml/tree.h>
#include <span>
#include <string_view>

#include "diags/diagctl/description_values.h"
#include "diags/diagctl/number.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

using Finding = std::optional<DescriptionError>;

std::string_view name_of(const xmlNode *node) {
    return reinterpret_cast<const char *>(node->name);
}

const xmlNode *next_element(const xmlNode *node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

const xmlNode *next_named(const xmlNode *node, std::string_view tag) {
    node = next_element(node);
    while (node != nullptr && name_of(node) != tag) {
        node = next_element(node->next);
    }
    return node;
}

// The text as the library reads it: the element's first child, when that is text. Null otherwise.
const char *text_of(const xmlNode *element) {
    const xmlNode *child = element->children;
    if (child == nullptr || child->type != XML_TEXT_NODE) {
        return nullptr;
    }
    return reinterpret_cast<const char *>(child->content);
}

std::string text_of_tag(const xmlNode *parent, std::string_view tag) {
    const xmlNode *element = next_named(parent->children, tag);
    return element == nullptr ? std::string() : one_line(text_of(element));
}

struct Rule {
    std::string_view tag;
    ValueCheck check;
    bool is_required;
};

constexpr Rule kChipRules[] = {
    {"chip-type", check_text, true},
    {"chip-name", check_text, true},
    {"chip-bus", check_chip_bus, true},
    {"chip-address", check_hexadecimal, true},
    {"chip-version-reg", check_hexadecimal, false},
    {"chip-version-mask", check_hexadecimal, false},
    {"chip-offset-length", check_hexadecimal, false},
};

constexpr Rule kRegisterRules[] = {
    {"reg-offset", check_hexadecimal, true}, {"reg-size", check_register_size, true},
    {"reg-mask", check_hexadecimal, false},  {"reg-default", check_hexadecimal, false},
    {"reg-length", check_length, false},     {"reg-test-data", check_hexadecimal, false},
    {"reg-testable", check_number, false},   {"reg-validate", check_number, false},
};

constexpr Rule kBitRules[] = {
    {"bit-range", check_text, true},
    {"bit-default", check_hexadecimal, false},
};

constexpr Rule kInfoRules[] = {{"info-val", check_number, true}};

// In the order in which a tag's name, cut short or not, is compared with them.
constexpr Rule kMuxRules[] = {
    {"bus", check_mux_bus, false},     {"addr", check_hexadecimal, false},
    {"reg", check_hexadecimal, false}, {"mask", check_hexadecimal, false},
    {"val", check_hexadecimal, false},
};

DescriptionError finding(const xmlNode *at, const std::string &where, std::string_view what) {
    return {xmlGetLineNo(at), fmt::format("{}: {}", where, what)};
}

Finding check_value(const xmlNode *element, const Rule &rule, const std::string &where) {
    const char *text = text_of(element);
    if (is_blank(text)) {
        if (rule.is_required) {
            return finding(element, where, fmt::format("{} without text", rule.tag));
        }
        return std::nullopt;
    }
    const Complaint complaint = rule.check(text);
    if (complaint.empty()) {
        return std::nullopt;
    }
    return finding(element, where,
                   fmt::format("{} \"{}\" {}", rule.tag, one_line(text), complaint));
}

// The tags of `element` from child `first` on, against the rules.
Finding check_tags(const xmlNode *element, const xmlNode *first, std::span<const Rule> rules,
                   const std::string &where) {
    for (const Rule &rule : rules) {
        const xmlNode *tag = next_named(first, rule.tag);
        if (tag == nullptr && rule.is_required) {
            return finding(element, where, fmt::format("no {}", rule.tag));
        }
        for (; tag != nullptr; tag = next_named(tag->next, rule.tag)) {
            if (Finding found = check_value(tag, rule, where)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

// Runs `check` on each child element named `tag`, from child `first` on.
template <typename Check>
Finding for_each_named(const xmlNode *first, std::string_view tag, Check check) {
    for (const xmlNode *node = next_named(first, tag); node != nullptr;
         node = next_named(node->next, tag)) {
        if (Finding found = check(node)) {
            return found;
        }
    }
    return std::nullopt;
}

Finding check_bit_range(const xmlNode *element, const std::string &where, int register_bits) {
    const std::string text = one_line(text_of(element));
    const auto range = parse_bit_range(text);
    if (!range) {
        return finding(element, where,
                       fmt::format("bit-range \"{}\" is neither HIGH:LOW nor a bit", text));
    }
    if (range->high >= register_bits) {
        return finding(element, where,
                       fmt::format("bit-range \"{}\" lies beyond the register's {} bits", text,
                                   register_bits));
    }
    return std::nullopt;
}

Finding check_bit(const xmlNode *bit, const std::string &where_register, int register_bits) {
    const xmlNode *first = bit->children;
    const std::string where =
        where_register + ", " + named("bit field", text_of_tag(bit, "bit-name"), "without a name");
    if (first != nullptr && first->type == XML_ELEMENT_NODE) {
        return finding(first, where,
                       fmt::format("<{}> directly behind <bit> is passed over: put it on a line "
                                   "of its own",
                                   name_of(first)));
    }
    if (Finding found = check_tags(bit, first, kBitRules, where)) {
        return found;
    }
    if (Finding found = for_each_named(first, "bit-range", [&](const xmlNode *range) {
            return check_bit_range(range, where, register_bits);
        })) {
        return found;
    }
    return for_each_named(first, "info", [&](const xmlNode *info) {
        return check_tags(info, info->children, kInfoRules, where + ", info");
    });
}

Finding check_register(const xmlNode *reg, const std::string &where_chip) {
    const std::string where =
        where_chip + ", " +
        named("register", text_of_tag(reg, "reg-name"), "at " + text_of_tag(reg, "reg-offset"));
    if (Finding found = check_tags(reg, reg->children, kRegisterRules, where)) {
        return found;
    }
    const int bits = static_cast<int>(parse_c_number(text_of_tag(reg, "reg-size")).value_or(0));
    return for_each_named(reg->children, "bit",
                          [&](const xmlNode *bit) { return check_bit(bit, where, bits); });
}

const Rule *mux_rule(std::string_view tag) {
    for (const Rule &rule : kMuxRules) {
        if (rule.tag.substr(0, tag.size()) == tag) {
            return &rule;
        }
    }
    return nullptr;
}

Finding check_mux(const xmlNode *mux, const std::string &where, bool is_first) {
    bool has_bus = false;
    for (const xmlNode *tag = next_element(mux->children); tag != nullptr;
         tag = next_element(tag->next)) {
        const Rule *rule = mux_rule(name_of(tag));
        if (rule == nullptr) {
            continue;
        }
        has_bus = has_bus || (rule == &kMuxRules[0] && !is_blank(text_of(tag)));
        if (Finding found = check_value(tag, *rule, where)) {
            return found;
        }
    }
    if (is_first && !has_bus) {
        return finding(mux, where, "the first mux has no bus");
    }
    return std::nullopt;
}

Finding check_chip(const xmlNode *chip, int number) {
    const std::string where =
        named("chip", text_of_tag(chip, "chip-name"), fmt::format("{}", number));
    if (Finding found = check_tags(chip, chip->children, kChipRules, where)) {
        return found;
    }
    int muxes = 0;
    if (Finding found = for_each_named(chip->children, "chip-mux", [&](const xmlNode *mux) {
            ++muxes;
            return check_mux(mux, fmt::format("{}, mux {}", where, muxes), muxes == 1);
        })) {
        return found;
    }
    return for_each_named(chip->children, "reg",
                          [&](const xmlNode *reg) { return check_register(reg, where); });
}

Finding check_root(const xmlNode *root) {
    if (root == nullptr) {
        return DescriptionError{1, "the document has no element"};
    }
    if (name_of(root) != "config") {
        return DescriptionError{
            xmlGetLineNo(root),
            fmt::format("the root element is <{}>, not <config>: no device description",
                        name_of(root))};
    }
    return std::nullopt;
}

// What stands beside the chips: the library gives the whole file up when one of these is empty.
Finding check_board_settings(const xmlNode *root) {
    constexpr std::string_view kSocketTags[] = {"ip", "PortNo", "inetfamily", "maxsockcnt",
                                                "sock_type"};
    constexpr std::string_view kRootTags[] = {"busbroker-support", "opticstool-present"};
    const auto require_text = [](const xmlNode *element) -> Finding {
        if (text_of(element) != nullptr) {
            return std::nullopt;
        }
        return DescriptionError{xmlGetLineNo(element),
                                fmt::format("{} without text", name_of(element))};
    };
    for (const std::string_view tag : kRootTags) {
        if (Finding found = for_each_named(root->children, tag, require_text)) {
            return found;
        }
    }
    return for_each_named(root->children, "system", [&](const xmlNode *system) -> Finding {
        for (const std::string_view tag : kSocketTags) {
            if (Finding found = for_each_named(system->children, tag, require_text)) {
                return found;
            }
        }
        return std::nullopt;
    });
}

}  // namespace

Finding find_description_error(const xmlDoc &doc) {
    const xmlNode *root = xmlDocGetRootElement(&doc);
    if (Finding found = check_root(root)) {
        return found;
    }
    if (Finding found = check_board_settings(root)) {
        return found;
    }
    int number = 0;
    return for_each_named(root->children, "chip",
                          [&](const xmlNode *chip) { return check_chip(chip, ++number); });
}

}  // namespace diag::diagctl
