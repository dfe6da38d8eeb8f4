// SPDX-License-Identifier: MIT
// The trace: one line of JSON for each request that has been answered.
#ifndef DIAGS_TOOLS_BUSBROKER_TRACE_H
#define DIAGS_TOOLS_BUSBROKER_TRACE_H

#include <cstdio>
#include <span>
#include <string>

#include "diags/tools/busbroker/clients.h"
#include "diags/tools/busbroker/request_text.h"

namespace diag::daemon {

// All there is to tell about an answered request. `access` is null for what is neither read nor
// write.
struct TraceEntry {
    const ClientKey &client;
    const RequestHead &head;
    const Access *access = nullptr;
    broker::Outcome outcome = broker::Outcome::kSuccess;
    std::span<const uint8_t> bytes = {};  // that a read brought
    Duration waited = {};
    Duration served = {};
    bool is_repeated = false;
};

// The line without its end; `time` is what a clock on the wall shows.
std::string trace_line(const TraceEntry &entry, std::chrono::system_clock::time_point time);

class Trace {
  public:
    virtual ~Trace() = default;
    virtual void record(const TraceEntry &entry) = 0;
};

// Writes each line at once, so that a trace that somebody follows is never behind.
class StreamTrace : public Trace {
  public:
    explicit StreamTrace(std::FILE *stream) : stream_(stream) {}
    void record(const TraceEntry &entry) override;

  private:
    std::FILE *stream_;
};

}  // namespace diag::daemon

#endif
