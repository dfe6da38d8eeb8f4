// SPDX-License-Identifier: MIT
// What the reading calls share whose tool answers through a FIFO.
#ifndef DIAGS_COMMON_SRC_TOOLS_FIFO_READING_H
#define DIAGS_COMMON_SRC_TOOLS_FIFO_READING_H

#include <cstdint>

#include "diag_types.h"

#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/fifo.h"

namespace diag {

// How the messages of one tool call its pipe and its bus.
struct ReadingTexts {
    const char *pipe_made;
    const char *pipe_opened;
    bool names_path;  // in both of these messages
    const char *bus;  // null: a tool that fails is not reported
};

// While the debug switch is on, a reading call answers with this byte and touches nothing.
bool is_dry_run(uint8_t *result);

class FifoReading {
  public:
    // Makes the FIFO at `pipe_path`; a failure is reported for `function`. All arguments must
    // outlive the reading.
    FifoReading(const char *function, const ReadingTexts &texts, const char *pipe_path);

    bool is_ready() const { return fifo_.state() == Fifo::State::kOpen; }

    // Leaves the FIFO on disk and its descriptor open.
    void abandon() { fifo_.abandon(); }

    // Runs the tool and stores up to `wanted` bytes of its answer. 0; the tool's wait status, with
    // nothing stored; DIAG_E_NOMEM when there is no memory to hold the answer.
    uint32_t run(const CommandLine &command, int wanted, uint8_t *result);

  private:
    const char *function_;
    const ReadingTexts &texts_;
    Fifo fifo_;
};

// A whole reading call: `build(command)` makes, and may log, the command line. 0; DIAG_E_FAIL when
// there is no FIFO; else as FifoReading::run.
template <typename Build>
uint32_t read_through_fifo(const char *function, const ReadingTexts &texts, const char *pipe_path,
                           int wanted, uint8_t *result, Build build) {
    if (is_dry_run(result)) {
        return 0;
    }
    FifoReading reading(function, texts, pipe_path);
    if (!reading.is_ready()) {
        return DIAG_E_FAIL;
    }
    CommandLine command;
    build(command);
    return reading.run(command, wanted, result);
}

}  // namespace diag

#endif
