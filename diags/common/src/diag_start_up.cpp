// SPDX-License-Identifier: MIT
// What a diagnostic program does first: levels from the environment and the board, and syslog.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <unistd.h>

#include "diag_util.h"

namespace {

constexpr char kNvramPipe[] = "/tmp/nvram_pipe";
constexpr long kLowestLevel = -1;  // the messages say 0..3, yet -1 silences what is not an error
constexpr long kHighestLevel = 3;

// Answers whether the text is a level; its number goes to *value either way.
bool read_level(const char *text, long *value) {
    *value = std::clamp<long>(std::strtol(text, nullptr, 10), std::numeric_limits<int>::min(),
                              std::numeric_limits<int>::max());
    return *value >= kLowestLevel && *value <= kHighestLevel;
}

void take_verb_level() {
    const char *text = std::getenv("VERB_LEVEL");
    if (text == nullptr) {
        return;
    }
    long value = 0;
    if (read_level(text, &value)) {
        set_verb_level(static_cast<unsigned int>(value));
    } else {
        diag_print(1, "Invalid verb level %d - Valid range 0..3\n", static_cast<int>(value));
    }
}

void take_nvram_level(const char *program) {
    if (std::strcmp(program, "nvramtool") == 0) {
        return;  // the tool must not ask itself
    }
    // The broker starts tools of its own accord, beside other programs: it needs its own FIFO.
    const bool is_broker = std::strstr(program, "busbroker") != nullptr;
    char pipe_path[100];
    std::snprintf(pipe_path, sizeof pipe_path, "%s", kNvramPipe);
    if (is_broker) {
        std::snprintf(pipe_path, sizeof pipe_path, "%s_%d", kNvramPipe, static_cast<int>(getpid()));
    }
    nvram_record record{};
    if (nvramtool_query(pipe_path, &record, is_broker) == 0) {
        set_nvram_verb_level(&record);
    }
}

void take_log_level() {
    const char *text = std::getenv("LOG_LEVEL");
    long value = 0;
    if (text != nullptr && !read_level(text, &value)) {
        diag_print(1, "Invalid log level %d - Valid range 0..3. Defaulting to 0\n",
                   static_cast<int>(value));
        value = 0;
    }
    set_log_level(static_cast<unsigned int>(value));
}

}  // namespace

void diag_system_init(const char *program) {
    take_verb_level();
    set_config_debug_enable(std::getenv("CONFIG_DEBUG") != nullptr ? 1 : 0);
    take_nvram_level(program != nullptr ? program : "");
    take_log_level();
    diag_syslog_init(program);
    if (const char *text = std::getenv("DIAG_DEBUG"); text != nullptr) {
        set_debug_enable(static_cast<unsigned int>(std::strtol(text, nullptr, 10)));
    }
}
