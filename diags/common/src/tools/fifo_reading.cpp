// SPDX-License-Identifier: MIT
#include "diags/common/src/tools/fifo_reading.h"

#include "diag_types.h"
#include "diag_util.h"

#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr uint8_t kDryRunByte = 26;  // what callers see instead of a reading

void report_not_made(const char *function, const ReadingTexts &texts, const char *path) {
    if (texts.names_path) {
        DIAG_ERROR_IN(function, "Error Creating %s pipe %s\n", texts.pipe_made, path);
    } else {
        DIAG_ERROR_IN(function, "Error Creating %s pipe\n", texts.pipe_made);
    }
}

void report_not_opened(const char *function, const ReadingTexts &texts, const char *path) {
    if (texts.names_path) {
        DIAG_ERROR_IN(function, "Could Not open End of %s Pipe (%s) [%c]\n", texts.pipe_opened,
                      path, path[0]);
    } else {
        DIAG_ERROR_IN(function, "Could Not open End of %s Pipe \n", texts.pipe_opened);
    }
}

}  // namespace

bool is_dry_run(uint8_t *result) {
    if (get_debug_enable() == 0) {
        return false;
    }
    result[0] = kDryRunByte;
    return true;
}

FifoReading::FifoReading(const char *function, const ReadingTexts &texts, const char *pipe_path)
    : function_(function), texts_(texts), fifo_(pipe_path) {
    switch (fifo_.state()) {
        case Fifo::State::kNotMade:
            report_not_made(function, texts, pipe_path);
            break;
        case Fifo::State::kNotOpened:
            report_not_opened(function, texts, pipe_path);
            break;
        case Fifo::State::kOpen:
            break;
    }
}

uint32_t FifoReading::run(const CommandLine &command, int wanted, uint8_t *result) {
    ToolOutput output(wanted);
    const int status = run_command(command.text(), fifo_.fd(), output);
    if (status != 0) {
        if (texts_.bus != nullptr) {
            DIAG_ERROR_IN(function_, "%s\nError Reading from %s\n", "FAILED <<<---", texts_.bus);
        }
        return static_cast<uint32_t>(status);
    }
    if (!output.is_complete()) {
        DIAG_ERROR_IN(function_, "No memory for %d bytes from the fifo\n", wanted);
        return DIAG_E_NOMEM;
    }
    diag_print(2, "%d bytes read from the fifo\n", output.deliver(result));
    return 0;
}

}  // namespace diag
