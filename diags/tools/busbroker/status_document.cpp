// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/status_document.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace diag::daemon {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;

int64_t milliseconds(Duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

Json holds_of(const Client &client, const StatusSource &source) {
    Json list = Json::array();
    for (const Hold &hold : source.holds) {
        if (hold.client == client.number) {
            list.push_back({{"footprint", footprint_text(hold.footprint)},
                            {"kind", hold.is_reservation ? "reservation" : "transaction"},
                            {"ends_in_ms", milliseconds(hold.end - source.now)}});
        }
    }
    return list;
}

Json clients_json(const StatusSource &source) {
    Json list = Json::array();
    for (const Client *client : source.clients) {
        list.push_back({{"address", client->key.endpoint.text()},
                        {"tool", client->key.tool},
                        {"instance", client->key.instance},
                        {"requests", client->requests},
                        {"repeated", client->repeated},
                        {"waiting", client->waiting.size()},
                        {"holds", holds_of(*client, source)}});
    }
    return list;
}

std::string address_of(uint32_t number, const StatusSource &source) {
    const auto found = std::ranges::find(source.clients, number, &Client::number);
    return found != source.clients.end() ? (*found)->key.endpoint.text() : std::string();
}

// In the order of their arrival.
Json queue_json(const StatusSource &source) {
    std::vector<const WaitingRequest *> waiting;
    for (const auto &request : source.requests) {
        if (request) {
            waiting.push_back(&*request);
        }
    }
    std::ranges::stable_sort(waiting, {}, &WaitingRequest::arrival);
    Json list = Json::array();
    for (const WaitingRequest *request : waiting) {
        list.push_back({{"client", address_of(request->client, source)},
                        {"device", request->head.device_id.view()},
                        {"priority", request->head.priority},
                        {"type", request->head.type},
                        {"waited_ms", milliseconds(source.now - request->arrival)}});
    }
    return list;
}

Json counts_json(const Counts &counts) {
    Json refused = Json::object();
    for (size_t i = 0; i < counts.outcomes.size(); ++i) {
        const auto outcome = static_cast<broker::Outcome>(i);
        if (broker::is_refusal(outcome) && counts.outcomes[i] != 0) {
            refused[std::string(broker::outcome_text(outcome))] = counts.outcomes[i];
        }
    }
    Json dropped = Json::object();
    for (size_t i = 0; i < counts.dropped.size(); ++i) {
        if (counts.dropped[i] != 0) {
            dropped[std::string(problem_text(static_cast<Problem>(i)))] = counts.dropped[i];
        }
    }
    return {{"received", counts.received},
            {"answered", counts.answered},
            {"performed", counts.performed},
            {"repeated", counts.repeated},
            {"refused", refused},
            {"dropped", dropped},
            {"acknowledged", counts.acknowledged}};
}

Json limits_json(const Scheduler::Times &times) {
    return {{"clients", kMaxClients},
            {"waiting_per_client", kMaxWaitingPerClient},
            {"waiting", kMaxWaiting},
            {"holds_per_client", kMaxHoldsPerClient},
            {"remembered_answers", kRememberedAnswers},
            {"answer_life_ms", milliseconds(kAnswerLife)},
            {"client_silence_ms", milliseconds(kClientSilence)},
            {"read_bytes", broker::kMaxReadBytes},
            {"write_bytes", broker::kMaxWriteBytes},
            {"transaction_timeout_ms", milliseconds(times.transaction)},
            {"wait_ms", milliseconds(times.wait)}};
}

std::string range_text(const char *noun, const Footprint &footprint) {
    if (footprint.begin == 0 && footprint.end == kEndOfBus) {
        return noun;
    }
    return footprint.end - footprint.begin == 1
               ? fmt::format("{} {:#x}", noun, footprint.begin)
               : fmt::format("{} {:#x}-{:#x}", noun, footprint.begin, footprint.end - 1);
}

}  // namespace

std::string footprint_text(const Footprint &footprint) {
    const uint32_t bus = footprint.bus;
    switch (footprint.kind) {
        case BusKind::kI2c:
        case BusKind::kBmc: {
            const char *kind = footprint.kind == BusKind::kI2c ? "i2c" : "bmc";
            return footprint.end - footprint.begin == 1
                       ? fmt::format("{} {} {:#04x}", kind, bus, footprint.begin)
                       : fmt::format("{} {}", kind, bus);
        }
        case BusKind::kLpc:
            return range_text("lpc", footprint);
        case BusKind::kMemory:
            return range_text("mem", footprint);
        case BusKind::kPci:
            return fmt::format("pci {:02x}:{:02x}.{:x}", bus >> 8, bus >> 3 & 0x1F, bus & 7);
        case BusKind::kGpio:
            return footprint.end == kEndOfBus
                       ? fmt::format("gpio {}", bus)
                       : fmt::format("gpio {} line {}", bus, footprint.begin);
    }
    return {};
}

std::string make_status_document(const StatusSource &source) {
    const Json document = {{"format", kFormat},
                           {"version", BUSBROKER_VERSION},
                           {"pid", getpid()},
                           {"uptime", milliseconds(source.uptime) / 1000},
                           {"description", source.identity.description},
                           {"board", source.identity.board},
                           {"devices", source.devices},
                           {"clients", clients_json(source)},
                           {"queue", queue_json(source)},
                           {"counts", counts_json(source.counts)},
                           {"limits", limits_json(source.times)}};
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace diag::daemon
