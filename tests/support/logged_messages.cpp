// SPDX-License-Identifier: MIT
#include "tests/support/logged_messages.h"

#include <gtest/gtest.h>
#include <regex>
#include <syslog.h>

#include "diag_util.h"

#include "tests/support/syslog_double.h"

namespace diag::test {

namespace {

constexpr int kLowest = -1;
constexpr int kHighest = 3;

std::string without_line_number(const std::string &text) {
    static const std::regex kSite(R"(^([A-Za-z_0-9]+)\[[0-9]+\]: $)");
    return std::regex_replace(text, kSite, "$1[]: ");
}

// Pointers differ from run to run; registers and addresses on a bus have at most eight digits.
Messages without_pointers(Messages messages) {
    static const std::regex kPointer("0x[0-9a-f]{10,}");
    for (Message &message : messages) {
        message.text = std::regex_replace(message.text, kPointer, "POINTER");
    }
    return messages;
}

// The messages of one run with the log level given, as if all were of that level.
Messages run_at(int level, const std::function<void()> &action) {
    constexpr std::string_view kErrorPrefix = "ERROR: ";
    reset_syslog();
    set_log_level(static_cast<unsigned int>(level));
    set_verb_level(static_cast<unsigned int>(kLowest));
    testing::internal::CaptureStdout();
    action();
    testing::internal::GetCapturedStdout();
    set_log_level(0);
    set_verb_level(0);
    Messages messages;
    for (const SyslogEntry &entry : syslog_state().entries) {
        const bool is_error = entry.priority == LOG_ERR;
        messages.push_back(
            {level,
             without_line_number(is_error ? entry.text.substr(kErrorPrefix.size()) : entry.text)});
    }
    reset_syslog();
    return messages;
}

// Lowers the level of those messages of `all` that `fewer` holds too.
void mark_level(Messages &all, const Messages &fewer) {
    auto next = fewer.begin();
    for (Message &message : all) {
        if (next != fewer.end() && message.text == next->text) {
            message.level = next->level;
            ++next;
        }
    }
    EXPECT_TRUE(next == fewer.end()) << "the action logs something else each time";
}

}  // namespace

std::ostream &operator<<(std::ostream &stream, const Message &message) {
    return stream << message.level << " \"" << message.text << '"';
}

Messages logged_by(const std::function<void()> &action) {
    Messages all = without_pointers(run_at(kHighest, action));
    for (int level = kHighest - 1; level >= kLowest; level--) {
        mark_level(all, without_pointers(run_at(level, action)));
    }
    return all;
}

std::string text_logged_by(const std::function<void()> &action, int level) {
    std::string text;
    for (const Message &message : run_at(level, action)) {
        text += message.text;
    }
    return text;
}

Messages error_in(const std::string &function, const std::string &text) {
    return {{kLowest, function + "[]: "}, {kLowest, text}};
}

}  // namespace diag::test
