// SPDX-License-Identifier: MIT
#include "tests/tools/busbroker/frame_maker.h"

#include <cstdio>
#include <cstdlib>
#include <zlib.h>

namespace diag::test {
namespace {

std::string hex(size_t value, int width) {
    char text[24];
    std::snprintf(text, sizeof text, "%0*zx", width, value);
    return text;
}

std::string binary(size_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text.push_back(static_cast<char>(value >> (8 * i)));
    }
    return text;
}

std::string with_length(const std::string &text) {
    return hex(text.size(), 2) + text;
}

std::string frame(const char *start, const FrameFields &fields, uint32_t crc, const char *end) {
    return start + hex(fields.tool, 2) + hex(fields.instance, 8) + hex(fields.transaction, 8) +
           with_length(fields.device_id) + with_length(fields.device_name) +
           hex(fields.priority, 8) + hex(fields.type, 8) + hex(fields.indication, 2) +
           hex(fields.data.size(), 4) + hex(fields.support.size(), 2) + fields.data +
           fields.support + hex(crc, 8) + end;
}

class Cutter {
  public:
    explicit Cutter(const std::string &text) : text_(text) {}
    std::string text(size_t size) {
        std::string part = at_ <= text_.size() ? text_.substr(at_, size) : "";
        at_ += size;
        return part;
    }
    uint32_t number(size_t digits) {
        return static_cast<uint32_t>(std::strtoul(text(digits).c_str(), nullptr, 16));
    }
    bool is_at_end() const { return at_ == text_.size(); }

  private:
    const std::string &text_;
    size_t at_ = 0;
};

}  // namespace

uint32_t crc_of(const FrameFields &fields) {
    const std::string record =
        binary(fields.tool, 1) + binary(fields.instance, 4) + binary(fields.transaction, 4) +
        binary(fields.device_id.size(), 1) + fields.device_id +
        binary(fields.device_name.size(), 1) + fields.device_name + binary(fields.priority, 4) +
        binary(fields.type, 4) + binary(fields.indication, 1) + binary(fields.data.size(), 2) +
        binary(fields.support.size(), 1) + fields.data + fields.support;
    return static_cast<uint32_t>(
        crc32(0, reinterpret_cast<const Bytef *>(record.data()), static_cast<uInt>(record.size())));
}

std::string request_frame_with_crc(const FrameFields &fields, uint32_t crc) {
    return frame("RQS", fields, crc, "RQE");
}

std::string request_frame(const FrameFields &fields) {
    return request_frame_with_crc(fields, crc_of(fields));
}

std::optional<FrameFields> parse_answer(const std::string &text) {
    Cutter cutter(text);
    FrameFields fields;
    const std::string start = cutter.text(3);
    fields.tool = cutter.number(2);
    fields.instance = cutter.number(8);
    fields.transaction = cutter.number(8);
    fields.device_id = cutter.text(cutter.number(2));
    fields.device_name = cutter.text(cutter.number(2));
    fields.priority = cutter.number(8);
    fields.type = cutter.number(8);
    fields.indication = cutter.number(2);
    const uint32_t data_size = cutter.number(4);
    const uint32_t support_size = cutter.number(2);
    fields.data = cutter.text(data_size);
    fields.support = cutter.text(support_size);
    const uint32_t crc = cutter.number(8);
    const bool is_framed = start == "RPS" && cutter.text(3) == "RPE" && cutter.is_at_end();
    return is_framed && crc == crc_of(fields) ? std::optional(fields) : std::nullopt;
}

std::string read_text(uint32_t address, uint32_t count, uint32_t width) {
    return hex(address, 8) + "," + hex(count, 4) + "," + hex(width, 2) + ",1c";
}

std::string write_text(uint32_t address, const std::vector<uint8_t> &bytes, uint32_t width) {
    std::string text = read_text(address, static_cast<uint32_t>(bytes.size()), width);
    for (const uint8_t byte : bytes) {
        text += "," + hex(byte, 2);
    }
    return text;
}

FrameFields read_request(const std::string &device, uint32_t address, uint32_t count,
                         uint32_t width) {
    return {.device_id = device, .type = 2, .data = read_text(address, count, width)};
}

FrameFields write_request(const std::string &device, uint32_t address,
                          const std::vector<uint8_t> &bytes, uint32_t width) {
    return {.device_id = device, .type = 3, .data = write_text(address, bytes, width)};
}

std::span<const uint8_t> bytes_of(const std::string &text) {
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

}  // namespace diag::test
