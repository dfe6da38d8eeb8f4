// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/frame.h"

#include <cstring>
#include <zlib.h>

namespace diag::daemon {
namespace {

constexpr std::string_view kRequestStart = "RQS";
constexpr std::string_view kRequestEnd = "RQE";
constexpr std::string_view kAnswerStart = "RPS";
constexpr std::string_view kAnswerEnd = "RPE";
constexpr size_t kFixedCharacters = 60;  // of a frame whose texts are empty

constexpr std::array<std::string_view, kProblems> kTexts = {
    "none",       "too short",      "too long",    "start marker",   "end marker",  "bad digits",
    "bad length", "NUL byte",       "id too long", "id unprintable", "bad tool id", "bad priority",
    "bad type",   "bad indication", "wrong CRC",   "foreign source", "fault",
};

// The record behind a frame: what the CRC runs over, with numbers in little-endian binary.
class Crc {
  public:
    Crc &number(uint32_t value, size_t bytes) {
        std::array<unsigned char, 4> binary;
        for (size_t i = 0; i < bytes; ++i) {
            binary[i] = static_cast<unsigned char>(value >> (8 * i));
        }
        return add(binary.data(), bytes);
    }
    Crc &text(std::string_view text) {
        return add(reinterpret_cast<const unsigned char *>(text.data()), text.size());
    }
    uint32_t value() const { return static_cast<uint32_t>(crc_); }

  private:
    Crc &add(const unsigned char *bytes, size_t size) {
        if (size != 0) {  // crc32() takes a null pointer, as empty views have, for a new start
            crc_ = crc32(crc_, bytes, static_cast<uInt>(size));
        }
        return *this;
    }

    uLong crc_ = 0;
};

uint32_t crc_of(const RequestHead &head, std::string_view data, std::string_view support) {
    const std::string_view id = head.device_id.view();
    const std::string_view name = head.device_name.view();
    return Crc()
        .number(head.tool, 1)
        .number(head.instance, 4)
        .number(head.transaction, 4)
        .number(static_cast<uint32_t>(id.size()), 1)
        .text(id)
        .number(static_cast<uint32_t>(name.size()), 1)
        .text(name)
        .number(head.priority, 4)
        .number(head.type, 4)
        .number(head.indication, 1)
        .number(static_cast<uint32_t>(data.size()), 2)
        .number(static_cast<uint32_t>(support.size()), 1)
        .text(data)
        .text(support)
        .value();
}

// Walks over the fields of a frame. The first problem sticks; what comes after it is empty.
class FieldReader {
  public:
    explicit FieldReader(std::string_view rest) : rest_(rest) {}

    Problem problem() const { return problem_; }
    size_t left() const { return rest_.size(); }

    void fail(Problem problem) {
        if (problem_ == Problem::kNone) {
            problem_ = problem;
            rest_ = {};
        }
    }

    std::string_view text(size_t size) {
        if (size > rest_.size()) {
            fail(Problem::kLength);
            return {};
        }
        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return taken;
    }

    uint32_t number(size_t digits, uint32_t max, Problem too_large) {
        uint32_t value = 0;
        for (const char c : text(digits)) {
            const bool is_decimal = c >= '0' && c <= '9';
            if (!is_decimal && (c < 'a' || c > 'f')) {
                fail(Problem::kDigits);
                return 0;
            }
            value = value << 4 | static_cast<uint32_t>(is_decimal ? c - '0' : c - 'a' + 10);
        }
        if (value > max) {
            fail(too_large);
        }
        return value;
    }
    uint32_t number(size_t digits) { return number(digits, UINT32_MAX, Problem::kNone); }

    IdText id() {
        const std::string_view taken =
            text(number(2, uint32_t{broker::kMaxIdLength}, Problem::kIdLength));
        const auto is_printable = [](char c) { return c >= ' ' && c <= '~'; };
        if (!std::ranges::all_of(taken, is_printable)) {
            fail(Problem::kIdText);
        }
        return problem_ == Problem::kNone ? IdText(taken) : IdText();
    }

  private:
    std::string_view rest_;
    Problem problem_ = Problem::kNone;
};

void read_head(FieldReader &fields, RequestHead *head) {
    head->tool = static_cast<uint8_t>(fields.number(2, broker::kMaxToolId, Problem::kToolId));
    head->instance = fields.number(8);
    head->transaction = fields.number(8);
    head->device_id = fields.id();
    head->device_name = fields.id();
    head->priority = fields.number(8, broker::kMaxPriority, Problem::kPriority);
    head->type = fields.number(8, broker::kReserveRequest, Problem::kType);
    head->indication =
        static_cast<uint8_t>(fields.number(2, broker::kMaxIndication, Problem::kIndication));
}

Problem check_ends(std::string_view frame) {
    if (frame.size() < kFixedCharacters) {
        return Problem::kTooShort;
    }
    if (frame.size() > broker::kMaxDatagram) {
        return Problem::kTooLong;
    }
    if (!frame.starts_with(kRequestStart)) {
        return Problem::kStartMarker;
    }
    return frame.ends_with(kRequestEnd) ? Problem::kNone : Problem::kEndMarker;
}

class FieldWriter {
  public:
    explicit FieldWriter(std::string *frame) : frame_(*frame) { frame_.clear(); }

    FieldWriter &text(std::string_view text) {
        frame_.append(text);
        return *this;
    }
    FieldWriter &number(size_t value, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
            frame_.push_back("0123456789abcdef"[value >> shift & 0xF]);
        }
        return *this;
    }

  private:
    std::string &frame_;
};

}  // namespace

std::string_view problem_text(Problem problem) {
    return kTexts[static_cast<size_t>(problem)];
}

Problem parse_request(std::span<const uint8_t> datagram, Request *request) {
    const std::string_view frame(reinterpret_cast<const char *>(datagram.data()), datagram.size());
    if (const Problem problem = check_ends(frame); problem != Problem::kNone) {
        return problem;
    }
    if (frame.find('\0') != std::string_view::npos) {
        return Problem::kNul;
    }
    FieldReader fields(frame.substr(kRequestStart.size(),
                                    frame.size() - kRequestStart.size() - kRequestEnd.size()));
    RequestHead &head = request->head;
    read_head(fields, &head);
    const size_t data_size = fields.number(4);
    const size_t support_size = fields.number(2);
    request->data = fields.text(data_size);
    request->support = fields.text(support_size);
    head.crc = fields.number(8);
    if (fields.left() != 0) {
        fields.fail(Problem::kLength);
    }
    if (fields.problem() != Problem::kNone) {
        return fields.problem();
    }
    return head.crc == crc_of(head, request->data, request->support) ? Problem::kNone
                                                                     : Problem::kCrc;
}

void write_answer(const RequestHead &head, std::string_view text, std::string *frame) {
    const std::string_view id = head.device_id.view();
    const std::string_view name = head.device_name.view();
    FieldWriter(frame)
        .text(kAnswerStart)
        .number(head.tool, 2)
        .number(head.instance, 8)
        .number(head.transaction, 8)
        .number(id.size(), 2)
        .text(id)
        .number(name.size(), 2)
        .text(name)
        .number(head.priority, 8)
        .number(head.type, 8)
        .number(head.indication, 2)
        .number(text.size(), 4)
        .number(0, 2)
        .text(text)
        .number(crc_of(head, text, {}), 8)
        .text(kAnswerEnd);
}

}  // namespace diag::daemon
