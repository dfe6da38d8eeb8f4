// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/outbox.h"

#include <algorithm>

namespace diag::daemon {

void Outbox::post(const Endpoint &to, const std::string &frame, TimePoint now) {
    if (faults_.is_silent() || faults_.loses()) {
        return;
    }
    const bool is_late = faults_.delays();
    const bool is_reordered = !is_late && faults_.reorders();
    if ((is_late || is_reordered) && held_back_.size() < kMaxHeldBack) {
        const auto delay = is_late ? std::chrono::milliseconds(faults_.late_ms()) : kReorderTime;
        held_back_.push_back({to, frame, now + delay, is_reordered});
        return;
    }
    deliver(to, frame);
    if (held_back_.empty()) {
        return;
    }
    for (HeldBack &answer : held_back_) {
        answer.due = answer.until_next ? now : answer.due;
    }
    flush(now);
}

void Outbox::flush(TimePoint now) {
    const auto due =
        std::stable_partition(held_back_.begin(), held_back_.end(),
                              [now](const HeldBack &answer) { return answer.due > now; });
    std::for_each(due, held_back_.end(),
                  [this](const HeldBack &answer) { deliver(answer.to, answer.frame); });
    held_back_.erase(due, held_back_.end());
}

std::optional<TimePoint> Outbox::deadline() const {
    const auto first = std::ranges::min_element(held_back_, {}, &HeldBack::due);
    return first != held_back_.end() ? std::optional(first->due) : std::nullopt;
}

void Outbox::deliver(const Endpoint &to, const std::string &frame) {
    const int copies = faults_.doubles() ? 2 : 1;
    for (int i = 0; i < copies; ++i) {
        if (!faults_.corrupts()) {
            send_(to, frame);
            continue;
        }
        std::string changed = frame;
        faults_.corrupt(&changed);
        send_(to, changed);
    }
}

}  // namespace diag::daemon
