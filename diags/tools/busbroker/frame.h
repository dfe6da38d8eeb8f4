// SPDX-License-Identifier: MIT
// Frames: from the bytes of a datagram to a request, and from an answer to bytes. Datagrams come
// from anybody, so nothing in them is believed before it has been checked.
#ifndef DIAGS_TOOLS_BUSBROKER_FRAME_H
#define DIAGS_TOOLS_BUSBROKER_FRAME_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "diags/broker/protocol.h"

namespace diag::daemon {

// Why a datagram is no request. Such a one gets no answer: whoever sent it speaks another protocol,
// and an answer would only serve to reflect traffic at third parties.
enum class Problem : uint8_t {
    kNone,
    kTooShort,
    kTooLong,
    kStartMarker,
    kEndMarker,
    kDigits,  // not the lower-case hexadecimal digits that a field has
    kLength,  // the lengths of the fields do not add up to the datagram
    kNul,
    kIdLength,
    kIdText,
    kToolId,
    kPriority,
    kType,
    kIndication,
    kCrc,
    // not found by parse_request():
    kSource,
    kFault,  // the board file wants it lost
};
inline constexpr size_t kProblems = 17;

std::string_view problem_text(Problem problem);

// A device id or name: short enough to be copied without the heap.
class IdText {
  public:
    IdText() = default;
    explicit IdText(std::string_view text) : size_(static_cast<uint8_t>(text.size())) {
        std::copy(text.begin(), text.end(), text_.begin());
    }

    std::string_view view() const { return {text_.data(), size_}; }

  private:
    std::array<char, broker::kMaxIdLength> text_ = {};
    uint8_t size_ = 0;
};

// The part of a request that its answer repeats.
struct RequestHead {
    uint8_t tool = 0;
    uint32_t instance = 0;
    uint32_t transaction = 0;
    IdText device_id;
    IdText device_name;
    uint32_t priority = 0;
    uint32_t type = 0;
    uint8_t indication = 0;
    uint32_t crc = 0;  // of the request
};

struct Request {
    RequestHead head;
    std::string_view data;  // both within the datagram
    std::string_view support;
};

// Fills `request`, which is not to be used when the answer is not kNone. Any bytes will do.
Problem parse_request(std::span<const uint8_t> datagram, Request *request);

// Replaces `frame` by the answer with the data text `text`, which fits into a datagram.
void write_answer(const RequestHead &head, std::string_view text, std::string *frame);

}  // namespace diag::daemon

#endif
