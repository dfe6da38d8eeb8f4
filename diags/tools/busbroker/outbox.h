// SPDX-License-Identifier: MIT
// Answers on their way out, and those that a fault holds back.
#ifndef DIAGS_TOOLS_BUSBROKER_OUTBOX_H
#define DIAGS_TOOLS_BUSBROKER_OUTBOX_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "diags/tools/busbroker/clients.h"
#include "diags/tools/busbroker/faults.h"

namespace diag::daemon {

class Outbox {
  public:
    using Send = std::function<void(const Endpoint &, const std::string &frame)>;

    Outbox(Send send, Faults &faults) : send_(std::move(send)), faults_(faults) {}

    void post(const Endpoint &to, const std::string &frame, TimePoint now);

    // Sends what has been held back for long enough.
    void flush(TimePoint now);
    std::optional<TimePoint> deadline() const;

  private:
    static constexpr std::chrono::milliseconds kReorderTime{20};
    static constexpr size_t kMaxHeldBack = 256;

    struct HeldBack {
        Endpoint to;
        std::string frame;
        TimePoint due;
        bool until_next;  // leaves behind the next answer at the latest
    };

    void deliver(const Endpoint &to, const std::string &frame);

    Send send_;
    Faults &faults_;
    std::vector<HeldBack> held_back_;
};

}  // namespace diag::daemon

#endif
