// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_LOGGED_MESSAGES_H
#define TESTS_SUPPORT_LOGGED_MESSAGES_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace diag::test {

// One call of diag_print.
struct Message {
    int level;
    std::string text;  // the line number of an error's "FUNCTION[LINE]: " left out

    bool operator==(const Message &) const = default;
};
std::ostream &operator<<(std::ostream &stream, const Message &message);

using Messages = std::vector<Message>;

// What `action` logs, each message with its level, in order. The action is run once per level, so
// it has to log the same each time but for pointers, which read POINTER. Standard output is kept
// quiet meanwhile; the levels are 0 afterwards.
Messages logged_by(const std::function<void()> &action);

// The messages of one run up to a level, joined; for actions that can be run once only.
std::string text_logged_by(const std::function<void()> &action, int level = 3);

// The two messages of an error: where, and what.
Messages error_in(const std::string &function, const std::string &text);

}  // namespace diag::test

#endif
