// SPDX-License-Identifier: MIT
// The programs that talk to the daemon, and the answers that they have been given: datagrams get
// lost, so a client repeats its requests, and a repeated one must not be performed again.
#ifndef DIAGS_TOOLS_BUSBROKER_CLIENTS_H
#define DIAGS_TOOLS_BUSBROKER_CLIENTS_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "diags/tools/busbroker/frame.h"
#include "diags/tools/busbroker/scheduler.h"

namespace diag::daemon {

inline constexpr size_t kRememberedAnswers = 64;
inline constexpr std::chrono::seconds kClientSilence{300};
// Repeats come within seconds. Later, the same request comes from a program that was started anew
// and has got the same port.
inline constexpr std::chrono::seconds kAnswerLife{60};

// Where a datagram comes from; both in host order.
struct Endpoint {
    uint32_t address = 0;
    uint16_t port = 0;

    bool operator==(const Endpoint &) const = default;
    std::string text() const;  // "127.0.0.1:40000"
};

struct ClientKey {
    Endpoint endpoint;
    uint8_t tool = 0;
    uint32_t instance = 0;

    bool operator==(const ClientKey &) const = default;
};

// The latest answers of a client, each with the request that it answers.
class AnswerMemory {
  public:
    struct Entry {
        uint32_t transaction;
        uint32_t crc;
        broker::Outcome outcome;
        std::string frame;
        TimePoint given;
    };

    // Null when there is none, or none that is young enough.
    const Entry *find(uint32_t transaction, uint32_t crc, TimePoint now) const;
    bool has(uint32_t transaction, TimePoint now) const;
    void add(const RequestHead &request, broker::Outcome outcome, const std::string &frame,
             TimePoint now);

  private:
    std::vector<Entry> entries_;
    size_t oldest_ = 0;  // once there are kRememberedAnswers of them
};

struct Client {
    ClientKey key;
    uint32_t number = 0;
    TimePoint last_seen;
    uint64_t requests = 0;
    uint64_t repeated = 0;
    std::vector<uint32_t> waiting;  // items of its waiting requests
    AnswerMemory answers;
    std::string refusal;  // why its latest refused request was refused
};

class ClientTable {
  public:
    explicit ClientTable(Scheduler &scheduler) : scheduler_(scheduler), slots_(kMaxClients) {}

    // The client of that key, which may be new, and has been heard of now. Null when there is no
    // room: every client has a request or a hold.
    Client *find_or_add(const ClientKey &key, TimePoint now);

    Client &at(uint32_t number) { return *slots_[number]; }

    // The clients in no particular order; those that were silent for too long are left out.
    std::vector<const Client *> list(TimePoint now);

  private:
    struct Hash {
        size_t operator()(const ClientKey &key) const {
            const uint64_t place = uint64_t{key.endpoint.address} << 16 | key.endpoint.port;
            const uint64_t program = uint64_t{key.instance} << 8 | key.tool;
            return std::hash<uint64_t>()(place * 0x9E3779B97F4A7C15U + program);
        }
    };

    bool is_idle(const Client &client, TimePoint now);
    void forget_silent(TimePoint now);
    Client *longest_idle(TimePoint now);
    void forget(const Client &client);
    Client *add(const ClientKey &key, TimePoint now);

    Scheduler &scheduler_;
    std::vector<std::unique_ptr<Client>> slots_;
    std::unordered_map<ClientKey, uint32_t, Hash> numbers_;
};

}  // namespace diag::daemon

#endif
