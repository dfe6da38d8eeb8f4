// SPDX-License-Identifier: MIT
// Frames of answers, made without the library: what the receive machine is fed and measured with.
#ifndef TESTS_COMMON_BUSBROKER_ANSWER_H
#define TESTS_COMMON_BUSBROKER_ANSWER_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace diag::test {

// The pieces of a frame, which are also the numbers of the states that take them.
enum Piece : size_t {
    kHeader,
    kToolId,
    kInstId,
    kTransacId,
    kDevIdLen,
    kDevId,
    kDevNameLen,
    kDevName,
    kPriority,
    kType,
    kIndication,
    kDataLen,
    kSupportLen,
    kData,
    kSupport,
    kCrc,
    kFooter,
    kPieces
};

// A record as it travels.
struct Answer {
    uint32_t tool_id = 3;
    uint32_t inst_id = 0x11223344;
    uint32_t transac_id = 7;
    std::string dev_id = "mbox0";
    std::string dev_name = "lpc";
    uint32_t req_prio = 0;
    uint32_t req_type = 3;
    uint32_t transac_ind = 5;
    std::string data = "00000062,0001,08,Success";
    std::string support = ",01";

    bool operator==(const Answer &) const = default;

    uint32_t crc() const;
    // One text for each Piece.
    std::vector<std::string> pieces() const;
    std::string frame() const;
};
std::ostream &operator<<(std::ostream &stream, const Answer &answer);

using Answers = std::vector<Answer>;

std::string joined(const std::vector<std::string> &pieces);

// Lower-case, with leading zeros.
std::string hex(uint64_t number, int digits);

// CRC-32 by its definition: reflected, 0xEDB88320, complemented at both ends.
uint32_t crc32_of(std::string_view bytes);

// The bytes of a number as the CRC sees them, lowest first.
std::string little_endian(uint32_t number, size_t bytes);

}  // namespace diag::test

#endif
