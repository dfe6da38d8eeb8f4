// SPDX-License-Identifier: MIT
// A value of a JSON file that knows where it stands, so that every complaint can say so.
#ifndef DIAGS_BOARD_SIM_JSON_ELEMENT_H
#define DIAGS_BOARD_SIM_JSON_ELEMENT_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace diag::board::sim {

using Json = nlohmann::ordered_json;

class JsonElement;

struct JsonMember {
    const char *key;
    std::function<void(const JsonElement &)> read;
};

class JsonElement {
  public:
    JsonElement(const std::string &file, const Json &value, std::string place)
        : file_(file), value_(value), place_(std::move(place)) {}

    const std::string &place() const { return place_; }
    const Json &value() const { return value_; }

    // Throws BoardError "FILE: PLACE: message".
    [[noreturn]] void fail(const std::string &message) const;

    bool boolean() const;
    std::string text() const;

    // A number, or a text with a number of either base.
    uint32_t number(uint32_t max) const { return static_cast<uint32_t>(wide_number(max)); }
    uint64_t wide_number(uint64_t max) const;
    int32_t signed_number() const;

    std::vector<JsonElement> items() const;

    // The same as number() for the key that leads here.
    uint32_t key_number(const std::string &key, uint32_t max) const;

    // Calls `read` with each key and value of an object.
    void each_member(
        const std::function<void(const std::string &, const JsonElement &)> &read) const;

    // The same for an object that may have these keys and no other.
    void members(std::initializer_list<JsonMember> known) const;

  private:
    [[noreturn]] void fail_range(uint64_t max) const;
    uint64_t parse(const std::string &text, uint64_t max) const;

    const std::string &file_;
    const Json &value_;
    std::string place_;
};

// JSON with // and /* */ comments. Throws BoardError "FILE:LINE:COLUMN: message", also for a key
// that an object has twice.
Json parse_json(const std::string &file, const std::string &text);

}  // namespace diag::board::sim

#endif
