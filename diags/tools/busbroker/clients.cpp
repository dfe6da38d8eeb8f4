// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/clients.h"

#include <algorithm>

namespace diag::daemon {

std::string Endpoint::text() const {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 0xFF) + (shift == 0 ? ":" : ".");
    }
    return text + std::to_string(port);
}

const AnswerMemory::Entry *AnswerMemory::find(uint32_t transaction, uint32_t crc,
                                              TimePoint now) const {
    const auto found = std::ranges::find_if(entries_, [=](const Entry &entry) {
        return entry.transaction == transaction && entry.crc == crc &&
               now - entry.given <= kAnswerLife;
    });
    return found != entries_.end() ? &*found : nullptr;
}

bool AnswerMemory::has(uint32_t transaction, TimePoint now) const {
    return std::ranges::any_of(entries_, [=](const Entry &entry) {
        return entry.transaction == transaction && now - entry.given <= kAnswerLife;
    });
}

void AnswerMemory::add(const RequestHead &request, broker::Outcome outcome,
                       const std::string &frame, TimePoint now) {
    if (entries_.size() < kRememberedAnswers) {
        entries_.push_back({request.transaction, request.crc, outcome, frame, now});
        return;
    }
    Entry &entry = entries_[oldest_];
    entry.transaction = request.transaction;
    entry.crc = request.crc;
    entry.outcome = outcome;
    entry.given = now;
    entry.frame = frame;  // into the memory that the old one had
    oldest_ = (oldest_ + 1) % kRememberedAnswers;
}

Client *ClientTable::find_or_add(const ClientKey &key, TimePoint now) {
    if (const auto found = numbers_.find(key); found != numbers_.end()) {
        Client &client = at(found->second);
        if (is_idle(client, now) && now - client.last_seen > kClientSilence) {
            forget(client);
            return add(key, now);
        }
        client.last_seen = now;
        return &client;
    }
    forget_silent(now);
    if (numbers_.size() == kMaxClients) {
        const Client *idle = longest_idle(now);
        if (idle == nullptr) {
            return nullptr;
        }
        forget(*idle);
    }
    return add(key, now);
}

std::vector<const Client *> ClientTable::list(TimePoint now) {
    forget_silent(now);
    std::vector<const Client *> clients;
    for (const auto &slot : slots_) {
        if (slot != nullptr) {
            clients.push_back(slot.get());
        }
    }
    return clients;
}

bool ClientTable::is_idle(const Client &client, TimePoint now) {
    return client.waiting.empty() && !scheduler_.has_hold(client.number, now);
}

void ClientTable::forget_silent(TimePoint now) {
    for (const auto &slot : slots_) {
        if (slot != nullptr && now - slot->last_seen > kClientSilence && is_idle(*slot, now)) {
            forget(*slot);
        }
    }
}

Client *ClientTable::longest_idle(TimePoint now) {
    Client *longest = nullptr;
    for (const auto &slot : slots_) {
        const bool is_longer = longest == nullptr || slot->last_seen < longest->last_seen;
        if (is_longer && is_idle(*slot, now)) {
            longest = slot.get();
        }
    }
    return longest;
}

void ClientTable::forget(const Client &client) {
    const uint32_t number = client.number;
    scheduler_.forget(number);
    numbers_.erase(client.key);
    slots_[number].reset();
}

Client *ClientTable::add(const ClientKey &key, TimePoint now) {
    const auto free =
        std::ranges::find_if(slots_, [](const auto &slot) { return slot == nullptr; });
    const auto number = static_cast<uint32_t>(free - slots_.begin());
    *free = std::make_unique<Client>();
    (*free)->key = key;
    (*free)->number = number;
    (*free)->last_seen = now;
    numbers_.emplace(key, number);
    return free->get();
}

}  // namespace diag::daemon
