// SPDX-License-Identifier: MIT
// The trace: one line of JSON for each request that has been answered.
#ifndef DIAGS_TOOLS_BUSBROKER_TRACE_H
#define DIAGS_TOOLS_BUSBROKER_TRACE_H

#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>

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

// The line without its end; `time` is what a clock on the wall shows, `dropped` how many lines have
// been lost in front of it.
std::string trace_line(const TraceEntry &entry, std::chrono::system_clock::time_point time,
                       uint64_t dropped = 0);

// Lines for a file, pipe, socket or terminal whose reader may have stopped reading: it never waits.
class LineOutput {
  public:
    // The descriptor has to outlive it. Others may use it too, and are left as they are.
    explicit LineOutput(int descriptor);
    ~LineOutput();
    LineOutput(const LineOutput &) = delete;
    LineOutput &operator=(const LineOutput &) = delete;

    // Adds the line's end. False when there is no room, and nothing of the line is written.
    bool put(const std::string &line);

  private:
    ssize_t write_some() const;
    bool send_rest();

    int descriptor_;
    int reopened_ = -1;  // the same pipe or terminal, with a file status of its own
    bool is_socket_ = false;
    bool may_wait_ = true;  // in write()
    std::string rest_;      // of a line that went out in part
};

class Trace {
  public:
    virtual ~Trace() = default;
    virtual void record(const TraceEntry &entry) = 0;
};

// Writes each line at once, so that a trace that somebody follows is never behind. What does not
// fit is lost and counted.
class StreamTrace : public Trace {
  public:
    explicit StreamTrace(int descriptor) : output_(descriptor) {}
    void record(const TraceEntry &entry) override;

  private:
    LineOutput output_;
    uint64_t dropped_ = 0;
};

}  // namespace diag::daemon

#endif
