// SPDX-License-Identifier: MIT
#include "bench/broker_daemon.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace diag::bench {

namespace {

struct Pipe {
    Pipe() {
        if (pipe(ends) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
    }
    ~Pipe() {
        close(ends[0]);
        close(ends[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    int ends[2];
};

}  // namespace

BrokerDaemon::BrokerDaemon() {
    char folder[] = "/tmp/diag-bench-broker-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        throw std::runtime_error("cannot make a folder in /tmp");
    }
    folder_ = folder;
    setenv("DIAG_BOARD_DIR", folder, 1);
    try {
        start();
    } catch (...) {
        stop();
        throw;
    }
}

BrokerDaemon::~BrokerDaemon() {
    stop();
}

void BrokerDaemon::start() {
    const Pipe output;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, output.ends[0]);
    const char *const arguments[] = {
        DIAG_BUSBROKER,     "--foreground",           "--port", "0", "--board",
        DIAG_EXAMPLE_BOARD, DIAG_EXAMPLE_DESCRIPTION, nullptr};
    const int error = posix_spawn(&pid_, DIAG_BUSBROKER, &actions, nullptr,
                                  const_cast<char *const *>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        pid_ = -1;
        throw std::runtime_error("cannot start " DIAG_BUSBROKER);
    }
    read_port(output.ends[0]);
}

// It prints "listening on 127.0.0.1:PORT" once it does.
void BrokerDaemon::read_port(int output) {
    std::string line;
    char character = 0;
    while (read(output, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    const size_t colon = line.rfind(':');
    const unsigned long port =
        colon != std::string::npos ? std::strtoul(line.c_str() + colon + 1, nullptr, 10) : 0;
    if (port == 0 || port > UINT16_MAX) {
        throw std::runtime_error("busbroker: " + line);
    }
    port_ = static_cast<uint16_t>(port);
}

void BrokerDaemon::stop() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

double BrokerDaemon::processor_seconds() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    std::string word;
    unsigned long ticks = 0;
    for (int field = 1; file >> word; field++) {
        if (field == 14 || field == 15) {  // user and system time
            ticks += std::stoul(word);
        }
    }
    return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace diag::bench
