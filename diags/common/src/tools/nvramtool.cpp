// SPDX-License-Identifier: MIT
// The settings kept in the board's NVRAM, through nvramtool.
#include "diag_util.h"

#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/fifo.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"

static_assert(sizeof(nvram_record) == 1068, "the tool and the library share this layout");

uint32_t nvramtool_query(const char *pipe_path, nvram_record *record, bool busbroker) {
    const diag::Fifo fifo(pipe_path);
    if (fifo.state() == diag::Fifo::State::kNotMade) {
        DIAG_ERROR("Error Creating I2C pipe\n");  // "I2C": the text that log readers know
        return DIAG_E_FAIL;
    }
    if (fifo.state() == diag::Fifo::State::kNotOpened) {
        DIAG_ERROR("Could Not open End of i2c Pipe \n");
        return DIAG_E_FAIL;
    }
    diag::CommandLine command;
    command.append("nvramtool --query --pipe=%s%s", pipe_path, busbroker ? " --busbroker" : "");
    diag::ToolOutput output(sizeof *record);
    if (diag::run_command(command.text(), fifo.fd(), output) != 0) {
        DIAG_ERROR("%s\nError Reading from nvram\n", "FAILED <<<---");
        return DIAG_E_FAIL;
    }
    // A short answer is no failure: what the tool did not write stays as the caller had it.
    diag_print(1, "nvram_query read %d bytes from the fifo\n",
               output.deliver(reinterpret_cast<uint8_t *>(record)));
    return 0;
}

void set_nvram_verb_level(const nvram_record *record) {
    if (record == nullptr) {
        DIAG_ERROR("NVRAM is not valid. Could not set Verbosity level\n");
        DIAG_ERROR("NVRAM is not valid\n");
        return;
    }
    if (record->verb_override != 0 && record->verb_level > get_verb_level()) {
        set_verb_level(static_cast<unsigned int>(record->verb_level));
    }
}
