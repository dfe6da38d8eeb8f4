// SPDX-License-Identifier: MIT
// Requests and answers as a client sees them, made without the daemon's own code.
#ifndef TESTS_TOOLS_BUSBROKER_FRAME_MAKER_H
#define TESTS_TOOLS_BUSBROKER_FRAME_MAKER_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace diag::test {

// The fields of a frame in their order. Every default is good.
struct FrameFields {
    uint32_t tool = 16;
    uint32_t instance = 1;
    uint32_t transaction = 7;
    std::string device_id = {};
    std::string device_name = {};
    uint32_t priority = 0;
    uint32_t type = 4;
    uint32_t indication = 5;
    std::string data = {};
    std::string support = {};
};

uint32_t crc_of(const FrameFields &fields);
std::string request_frame(const FrameFields &fields);
std::string request_frame_with_crc(const FrameFields &fields, uint32_t crc);

// Empty for what is no answer with a right CRC.
std::optional<FrameFields> parse_answer(const std::string &frame);

std::string read_text(uint32_t address, uint32_t count, uint32_t width = 8);
std::string write_text(uint32_t address, const std::vector<uint8_t> &bytes, uint32_t width = 8);

FrameFields read_request(const std::string &device, uint32_t address, uint32_t count,
                         uint32_t width = 8);
FrameFields write_request(const std::string &device, uint32_t address,
                          const std::vector<uint8_t> &bytes, uint32_t width = 8);

std::span<const uint8_t> bytes_of(const std::string &text);

}  // namespace diag::test

#endif
