// SPDX-License-Identifier: MIT
// Sockets under a test's control. Calls go through these doubles by the linker's --wrap; without a
// living double, and after its last step, they reach the real thing.
#ifndef TESTS_COMMON_BUSBROKER_SOCKET_DOUBLES_H
#define TESTS_COMMON_BUSBROKER_SOCKET_DOUBLES_H

#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <vector>

namespace diag::test {

// While it lives, calls of sendto are noted. Its steps say what the first ones do: a number of
// bytes that are said to be sent, or the negative number of an error.
class ScriptedSends {
  public:
    struct Send {
        std::string bytes;
        socklen_t address_length;
    };

    explicit ScriptedSends(std::vector<ssize_t> steps = {});
    ~ScriptedSends();
    ScriptedSends(const ScriptedSends &) = delete;
    ScriptedSends &operator=(const ScriptedSends &) = delete;

    std::vector<Send> all() const;
    std::vector<std::string> texts() const;
};

// The same for recvfrom: the first calls fail with these errors.
class FailingReceives {
  public:
    explicit FailingReceives(std::vector<int> errors);
    ~FailingReceives();
    FailingReceives(const FailingReceives &) = delete;
    FailingReceives &operator=(const FailingReceives &) = delete;

    size_t left() const;
};

}  // namespace diag::test

#endif
