// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/snapshots.h"

#include <algorithm>
#include <utility>

namespace diag::daemon {

void Snapshots::keep(const ClientKey &reader, std::string text, TimePoint now) {
    drop(reader);
    if (kept_.size() == kMaxSnapshots) {
        kept_.pop_front();
    }
    kept_.push_back({reader, std::move(text), now});
}

void Snapshots::drop(const ClientKey &reader) {
    std::erase_if(kept_, [&reader](const Snapshot &kept) { return kept.reader == reader; });
}

std::string_view Snapshots::text_for(const ClientKey &reader, TimePoint now) {
    drop_old(now);
    const auto found = std::ranges::find(kept_, reader, &Snapshot::reader);
    return found != kept_.end() ? std::string_view(found->text) : std::string_view();
}

void Snapshots::drop_old(TimePoint now) {
    while (!kept_.empty() && kept_.front().made + kSnapshotLife <= now) {
        kept_.pop_front();
    }
}

std::optional<TimePoint> Snapshots::deadline() const {
    return kept_.empty() ? std::nullopt : std::optional(kept_.front().made + kSnapshotLife);
}

}  // namespace diag::daemon
