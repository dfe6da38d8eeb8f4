// SPDX-License-Identifier: MIT
#include "diags/board/sim/json_element.h"

#include <algorithm>
#include <limits>
#include <set>

#include "diags/board/number.h"
#include "diags/board/sim/board_error.h"
#include "diags/board/sim/nearest.h"

namespace diag::board::sim {
namespace {

// "LINE:COLUMN" of the byte that the parser read last, counted from 1.
std::string position(const std::string &text, size_t byte) {
    const auto end =
        text.begin() + static_cast<std::ptrdiff_t>(std::min(byte == 0 ? 0 : byte - 1, text.size()));
    const auto line = std::count(text.begin(), end, '\n') + 1;
    const auto start = std::find(std::make_reverse_iterator(end), text.rend(), '\n').base();
    return std::to_string(line) + ":" + std::to_string(end - start + 1);
}

// The library's message without its number and its own position.
std::string reason(const std::string &message) {
    const size_t column = message.find("column ");
    const size_t colon = message.find(": ", column == std::string::npos ? 0 : column);
    std::string text = colon == std::string::npos ? message : message.substr(colon + 2);
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Refuses what the JSON library would silently let win: the second of two equal keys.
class DuplicateCheck {
  public:
    explicit DuplicateCheck(const std::string &file) : file_(file) {}

    bool operator()(int /*depth*/, Json::parse_event_t event, const Json &parsed) {
        switch (event) {
            case Json::parse_event_t::object_start:
                keys_.emplace_back();
                break;
            case Json::parse_event_t::object_end:
                keys_.pop_back();
                break;
            case Json::parse_event_t::key:
                if (!keys_.back().insert(parsed.get<std::string>()).second) {
                    throw BoardError(kExitBadDescription, file_ + ": the key \"" +
                                                              parsed.get<std::string>() +
                                                              "\" stands twice in one object");
                }
                break;
            default:
                break;
        }
        return true;
    }

  private:
    const std::string &file_;
    std::vector<std::set<std::string>> keys_;
};

}  // namespace

void JsonElement::fail(const std::string &message) const {
    throw BoardError(kExitBadDescription,
                     file_ + ": " + (place_.empty() ? "/" : place_) + ": " + message);
}

bool JsonElement::boolean() const {
    if (!value_.is_boolean()) {
        fail("expected true or false");
    }
    return value_.get<bool>();
}

std::string JsonElement::text() const {
    if (!value_.is_string()) {
        fail("expected a text in double quotes");
    }
    return value_.get<std::string>();
}

void JsonElement::fail_range(uint64_t max) const {
    char limit[24];
    std::snprintf(limit, sizeof limit, "0x%llx", static_cast<unsigned long long>(max));
    fail("out of range: 0 to " + std::string(limit));
}

uint64_t JsonElement::parse(const std::string &text, uint64_t max) const {
    const std::optional<uint64_t> number = parse_wide_number(text, max);
    if (!number && !parse_wide_number(text, UINT64_MAX)) {
        fail("\"" + text + "\" is no number (0x... or decimal)");
    }
    if (!number) {
        fail_range(max);
    }
    return *number;
}

uint64_t JsonElement::wide_number(uint64_t max) const {
    if (value_.is_string()) {
        return parse(value_.get<std::string>(), max);
    }
    if (!value_.is_number_integer()) {
        fail("expected a number, or a text like \"0x1f\"");
    }
    if (!value_.is_number_unsigned() || value_.get<uint64_t>() > max) {
        fail_range(max);
    }
    return value_.get<uint64_t>();
}

uint32_t JsonElement::key_number(const std::string &key, uint32_t max) const {
    return static_cast<uint32_t>(parse(key, max));
}

int32_t JsonElement::signed_number() const {
    using Limits = std::numeric_limits<int32_t>;
    if (!value_.is_number_integer()) {
        fail("expected a whole number");
    }
    const bool too_large =
        value_.is_number_unsigned() && value_.get<uint64_t>() > uint64_t{Limits::max()};
    if (too_large || value_.get<int64_t>() < Limits::min()) {
        fail("out of range: a signed number of 32 bits");
    }
    return value_.get<int32_t>();
}

std::vector<JsonElement> JsonElement::items() const {
    if (!value_.is_array()) {
        fail("expected a list in [ ]");
    }
    std::vector<JsonElement> result;
    for (const Json &item : value_) {
        result.emplace_back(file_, item, place_ + "/" + std::to_string(result.size()));
    }
    return result;
}

void JsonElement::each_member(
    const std::function<void(const std::string &, const JsonElement &)> &read) const {
    if (!value_.is_object()) {
        fail("expected an object in { }");
    }
    for (const auto &[key, value] : value_.items()) {
        read(key, JsonElement(file_, value, place_ + "/" + key));
    }
}

void JsonElement::members(std::initializer_list<JsonMember> known) const {
    each_member([known](const std::string &key, const JsonElement &element) {
        for (const JsonMember &member : known) {
            if (key == member.key) {
                member.read(element);
                return;
            }
        }
        std::vector<std::string> keys;
        for (const JsonMember &member : known) {
            keys.emplace_back(member.key);
        }
        element.fail("no such key" + nearest_hint(key, keys));
    });
}

Json parse_json(const std::string &file, const std::string &text) {
    try {
        return Json::parse(text, DuplicateCheck(file), true, true);
    } catch (const Json::parse_error &error) {
        throw BoardError(kExitBadDescription,
                         file + ":" + position(text, error.byte) + ": " + reason(error.what()));
    } catch (const Json::exception &error) {
        throw BoardError(kExitBadDescription, file + ": " + reason(error.what()));
    }
}

}  // namespace diag::board::sim
