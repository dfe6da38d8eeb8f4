// SPDX-License-Identifier: MIT
// What the bus broker and its clients agree on: addresses, limits, numbers and texts.
// docs/bus-broker.md describes the protocol.
#ifndef DIAGS_BROKER_PROTOCOL_H
#define DIAGS_BROKER_PROTOCOL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace diag::broker {

// ---- where the daemon is ----

inline constexpr const char *kAddressVariable = "DIAG_BROKER";  // HOST:PORT
inline constexpr const char *kDefaultHost = "127.0.0.1";
inline constexpr uint16_t kDefaultPort = 7811;

struct Address {
    std::string host = kDefaultHost;  // IPv4, dotted decimal
    uint16_t port = kDefaultPort;

    bool operator==(const Address &) const = default;
    std::string text() const;  // HOST:PORT
};

// Whether `text` is an IPv4 address of four decimal numbers.
bool is_ipv4(std::string_view text);

// HOST:PORT, or a HOST alone, which has the default port. Empty for anything else.
std::optional<Address> parse_address(std::string_view text);

// What $DIAG_BROKER says, the default when it is not set or empty; empty when it is no address.
std::optional<Address> address_from_environment();

// ---- sizes ----

inline constexpr size_t kMaxDatagram = 4096;   // bytes, requests and answers
inline constexpr size_t kMaxReadBytes = 1900;  // of one read
inline constexpr size_t kMaxWriteBytes = 1300;
inline constexpr size_t kMaxIdLength = 32;  // device id, device name
inline constexpr size_t kMaxAssetLength = 31;
inline constexpr size_t kAcknowledgedBytes = 256;  // larger accesses are acknowledged first

// ---- numbers in a request ----

inline constexpr uint32_t kMaxToolId = 22;
inline constexpr uint32_t kMaxPriority = 2;
inline constexpr uint32_t kMaxRequestType = 7;
inline constexpr uint32_t kMaxIndication = 5;
inline constexpr uint8_t kDefaultFlags = 28;

enum ToolId : uint8_t {
    kToolI2c = 1,
    kToolGpio = 2,
    kToolLpc = 3,
    kToolPci = 4,
    kToolMemory = 5,
    kToolDiagctl = 6,
    kFirstFreeTool = 16,  // up to kMaxToolId: for programs of others
};

enum RequestType : uint32_t {
    kQueryRequest = 0,   // what has become of the request with this transaction number
    kGiveUpRequest = 1,  // drops the client's waiting requests and holds
    kReadRequest = 2,
    kWriteRequest = 3,
    kPingRequest = 4,
    kDynamicIdRequest = 5,  // a device id for an I2C place
    kReserveRequest = 6,    // a device for some seconds
};

enum Indication : uint8_t {
    kSingle = 0,  // and any number without a name here
    kFirst = 1,   // takes a transaction
    kNext = 2,    // goes on with it
    kLast = 5,    // ends it, or is a single access when there is none
};

// Bits of the first support byte of a read or write on I2C.
enum AccessOption : uint8_t {
    kNoData = 1,      // the address alone goes over the bus
    kPec = 2,         // the last byte of a write is the packet error code
    kRegister16 = 4,  // two bytes of register number
    kNoRegister = 8,  // the bytes of the request and nothing else
};
inline constexpr uint8_t kAllOptions = kNoData | kPec | kRegister16 | kNoRegister;

// First selector of a reservation.
enum BusSelector : uint8_t {
    kSelectPci = 0,
    kSelectLpc = 1,
    kSelectMemory = 2,
    kSelectGpio = 3,
    kSelectI2c = 4,
};

// ---- texts of an answer ----

enum class Outcome : uint8_t {
    kSuccess,
    kAcknowledged,
    kNotFound,
    // refusals
    kUnknownDevice,
    kInvalidRequest,
    kTooLong,
    kNotSupported,
    kNoAnswer,
    kAccessFailed,
    kNoTransaction,
    kTransactionExpired,
    kTimedOut,
    kQueueFull,
    kBusy,
    kRefused,
    kShuttingDown,
};
inline constexpr size_t kOutcomes = 16;

constexpr bool is_refusal(Outcome outcome) {
    return outcome >= Outcome::kUnknownDevice;
}
std::string_view outcome_text(Outcome outcome);
std::optional<Outcome> parse_outcome(std::string_view text);

// ---- devices ----

// The daemon itself, which can be read.
inline constexpr std::string_view kStatusDevice = "busbroker";
inline constexpr uint32_t kStatusAddress = 0;            // a JSON document
inline constexpr uint32_t kRefusalAddress = 0x80000000;  // text of the client's latest refusal

// A place that is named without a description:
// "i2c:BUS:ADDRESS", "i2c16:BUS:ADDRESS", "lpc", "mem", "pci:BB:DD.F", "gpio:CHIP", hexadecimal.
struct RawPlace {
    enum class Kind : uint8_t { kI2c, kLpc, kMemory, kPci, kGpio };

    Kind kind = Kind::kI2c;
    bool wide_register = false;  // "i2c16": register numbers of 16 bits
    uint32_t bus = 0;            // number of the I2C or PCI bus, or of the GPIO chip
    uint8_t device = 0;          // I2C address or PCI device
    uint8_t function = 0;

    bool operator==(const RawPlace &) const = default;
};

std::string format_raw_id(const RawPlace &place);
// Digits of either case, without "0x"; an I2C address has at most 7 bits.
std::optional<RawPlace> parse_raw_id(std::string_view id);

}  // namespace diag::broker

#endif
