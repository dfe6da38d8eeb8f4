// SPDX-License-Identifier: MIT
// A client of the bus broker as a program writes one over the library's public calls.
#ifndef TESTS_BROKER_LIBRARY_CLIENT_H
#define TESTS_BROKER_LIBRARY_CLIENT_H

#include <cstdint>
#include <span>
#include <string>

#include "busbroker.h"

namespace diag::test {

class LibraryClient {
  public:
    enum class Connected { kNo, kYes };

    // Throws std::runtime_error without a socket or threads.
    LibraryClient(uint16_t port, uint32_t instance, uint32_t retry_ms,
                  Connected connected = Connected::kNo);
    // Ends its threads.
    ~LibraryClient();
    LibraryClient(const LibraryClient &) = delete;
    LibraryClient &operator=(const LibraryClient &) = delete;

    // The status of request_busbroker().
    uint32_t read(const std::string &device, uint32_t address, std::span<uint8_t> bytes,
                  uint8_t indication = DIAG_TRANSAC_LAST);
    uint32_t write(const std::string &device, uint32_t address, std::span<uint8_t> bytes,
                   uint8_t indication = DIAG_TRANSAC_LAST);
    uint32_t reserve(const std::string &device);

    uint32_t requests() const { return request_.transac_id; }

  private:
    uint32_t access(uint32_t type, const std::string &device, uint32_t address,
                    std::span<uint8_t> bytes, uint8_t indication);
    uint32_t send(uint32_t type, const std::string &device, uint8_t indication);

    tool_info context_{};
    busbroker_req request_{};
};

}  // namespace diag::test

#endif
