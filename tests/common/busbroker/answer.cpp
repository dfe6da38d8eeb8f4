// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/answer.h"

#include <array>
#include <cstdio>

namespace diag::test {

std::string hex(uint64_t number, int digits) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%0*llx", digits,
                  static_cast<unsigned long long>(number));
    return text.data();
}

uint32_t crc32_of(std::string_view bytes) {
    uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; bit++) {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
        }
    }
    return ~crc;
}

std::string little_endian(uint32_t number, size_t bytes) {
    std::string text;
    for (size_t i = 0; i < bytes; i++) {
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return text;
}

uint32_t Answer::crc() const {
    const auto length = [](const std::string &text, size_t bytes) {
        return little_endian(static_cast<uint32_t>(text.size()), bytes);
    };
    return crc32_of(little_endian(tool_id, 1) + little_endian(inst_id, 4) +
                    little_endian(transac_id, 4) + length(dev_id, 1) + dev_id +
                    length(dev_name, 1) + dev_name + little_endian(req_prio, 4) +
                    little_endian(req_type, 4) + little_endian(transac_ind, 1) + length(data, 2) +
                    length(support, 1) + data + support);
}

std::vector<std::string> Answer::pieces() const {
    return {"RPS",
            hex(tool_id, 2),
            hex(inst_id, 8),
            hex(transac_id, 8),
            hex(dev_id.size(), 2),
            dev_id,
            hex(dev_name.size(), 2),
            dev_name,
            hex(req_prio, 8),
            hex(req_type, 8),
            hex(transac_ind, 2),
            hex(data.size(), 4),
            hex(support.size(), 2),
            data,
            support,
            hex(crc(), 8),
            "RPE"};
}

std::string Answer::frame() const {
    return joined(pieces());
}

std::ostream &operator<<(std::ostream &stream, const Answer &answer) {
    return stream << answer.frame();
}

std::string joined(const std::vector<std::string> &pieces) {
    std::string text;
    for (const std::string &piece : pieces) {
        text += piece;
    }
    return text;
}

}  // namespace diag::test
