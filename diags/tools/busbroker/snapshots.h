// SPDX-License-Identifier: MIT
// The status documents that are being read. Each is large and comes in pieces, which have to fit
// together; so it is kept for its reader, and soon forgotten.
#ifndef DIAGS_TOOLS_BUSBROKER_SNAPSHOTS_H
#define DIAGS_TOOLS_BUSBROKER_SNAPSHOTS_H

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "diags/tools/busbroker/clients.h"

namespace diag::daemon {

inline constexpr size_t kMaxSnapshots = 8;
inline constexpr std::chrono::seconds kSnapshotLife{60};

class Snapshots {
  public:
    // In place of what the reader had; when there are too many, the oldest goes.
    void keep(const ClientKey &reader, std::string text, TimePoint now);
    void drop(const ClientKey &reader);

    // Empty for a reader that has none any more.
    std::string_view text_for(const ClientKey &reader, TimePoint now);

    size_t count() const { return kept_.size(); }

    // Drops those that are too old, the first of which is so at the deadline.
    void drop_old(TimePoint now);
    std::optional<TimePoint> deadline() const;

  private:
    struct Snapshot {
        ClientKey reader;
        std::string text;
        TimePoint made;
    };

    std::deque<Snapshot> kept_;  // the oldest in front
};

}  // namespace diag::daemon

#endif
