// SPDX-License-Identifier: MIT
// The data text of requests and answers, between frame and access.
#ifndef DIAGS_TOOLS_BUSBROKER_REQUEST_TEXT_H
#define DIAGS_TOOLS_BUSBROKER_REQUEST_TEXT_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "diags/broker/protocol.h"

namespace diag::daemon {

// A read or a write as it was asked for.
struct Access {
    bool is_write = false;
    uint32_t address = 0;
    uint32_t count = 0;  // bytes
    uint32_t width = 0;  // bits of an item
    uint32_t flags = 0;
    uint8_t options = 0;             // broker::AccessOption
    std::vector<uint8_t> data = {};  // of a write, `count` bytes

    bool has(broker::AccessOption option) const { return (options & option) != 0; }
};

struct Reservation {
    bool by_index = false;
    uint32_t selector_a = 0;
    uint32_t selector_b = 0;
    uint32_t selector_c = 0;
    uint32_t seconds = 0;
    std::string_view asset;  // within the request's text
};

struct DynamicId {
    uint32_t bus = 0;
    uint32_t address = 0;
    bool wide_register = false;
};

// Empty for a text that is not as the protocol has it.
std::optional<Access> parse_access(std::string_view data, std::string_view support, bool is_write);
std::optional<Reservation> parse_reservation(std::string_view data);
std::optional<DynamicId> parse_dynamic_id(std::string_view data);

// Replaces `text` by the data text of an answer to the access; `bytes` is what a read brought.
void write_access_answer(const Access &access, broker::Outcome outcome,
                         std::span<const uint8_t> bytes, std::string *text);

}  // namespace diag::daemon

#endif
