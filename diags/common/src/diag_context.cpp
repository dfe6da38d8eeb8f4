// SPDX-License-Identifier: MIT
// The process-wide levels, and the one call that everything is logged through.
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <syslog.h>

#include "diag_util.h"

#include "diags/common/src/log.h"

namespace {

constexpr size_t kMessageSize = 1024;

// Read by every thread that logs, so atomic; no order between them is promised.
std::atomic<int> test_level;
std::atomic<int> debug_enable;
std::atomic<uint8_t> config_debug_enable;
std::atomic<int> verb_level;
std::atomic<int> log_level;

int load(const std::atomic<int> &level) {
    return level.load(std::memory_order_relaxed);
}

void store(std::atomic<int> &level, unsigned int value) {
    level.store(static_cast<int>(value), std::memory_order_relaxed);
}

// openlog keeps the pointer it is given, so the text has to outlive the caller's.
std::mutex ident_lock;
char *kept_ident;  // guarded by ident_lock

}  // namespace

void set_test_level(unsigned int level) {
    store(test_level, level);
}
int get_test_level(void) {
    return load(test_level);
}

void set_debug_enable(unsigned int enable) {
    store(debug_enable, enable);
}
int get_debug_enable(void) {
    return load(debug_enable);
}

void set_config_debug_enable(int enable) {
    config_debug_enable.store(static_cast<uint8_t>(enable), std::memory_order_relaxed);
}
int get_config_debug_enable(void) {
    return config_debug_enable.load(std::memory_order_relaxed);
}

void set_verb_level(unsigned int level) {
    store(verb_level, level);
}
int get_verb_level(void) {
    return load(verb_level);
}

void set_log_level(unsigned int level) {
    store(log_level, level);
}

int diag_print(int level, const char *fmt, ...) {
    const bool is_error = level == diag::kErrorLevel;
    const bool shown = is_error || level <= load(verb_level);
    const bool logged = is_error || level <= load(log_level);
    if (!shown && !logged) {
        return 0;
    }

    // A buffer of the caller's own: threads and signal handlers that log cannot garble each other.
    char message[kMessageSize];
    va_list arguments;
    va_start(arguments, fmt);
    const int length = std::vsnprintf(message, sizeof message, fmt, arguments);
    va_end(arguments);
    if (length < 0) {
        return 0;
    }

    const char *prefix = is_error ? "ERROR: " : "";
    if (shown) {
        std::printf("%s%s", prefix, message);
    }
    if (logged) {
        syslog(is_error ? LOG_ERR : LOG_INFO, "%s%s", prefix, message);
    }
    return 0;
}

void diag_syslog_init(const char *ident) {
    const std::lock_guard guard(ident_lock);
    char *copy = ident != nullptr ? strdup(ident) : nullptr;
    openlog(copy, LOG_NDELAY, LOG_LOCAL1);
    std::free(kept_ident);
    kept_ident = copy;
}

void diag_syslog_close(void) {
    const std::lock_guard guard(ident_lock);
    closelog();
    std::free(kept_ident);
    kept_ident = nullptr;
}

void print_test_result(const char *test_name, int failed) {
    if (failed == 0) {
        diag_print(0, "%s: Overall test results------------------ >>>> PASSED\n", test_name);
    } else {
        diag_print(0, "%s: Overall test results------------------ FAILED <<<<\n", test_name);
    }
}

int is_eda_enabled(void) {
    return 0;
}
int is_eda_ext_tests(void) {
    return 0;
}
int is_eda_verbose(void) {
    return 0;
}
int is_eda_stop_on_error(void) {
    return 0;
}
int get_test_control(void) {
    return 0;
}
