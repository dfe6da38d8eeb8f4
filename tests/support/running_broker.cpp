// SPDX-License-Identifier: MIT
#include "tests/support/running_broker.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#ifndef BUSBROKER
#error "BUSBROKER, the program, is to be defined by the build"
#endif

namespace diag::test {

RunningBroker::RunningBroker(const std::vector<std::string> &arguments,
                             const std::vector<std::string> &environment) {
    if (pipe2(said_, O_CLOEXEC) != 0 || (process_ = fork()) == -1) {
        throw std::runtime_error("the bus broker cannot be started");
    }
    if (process_ == 0) {
        become(arguments, environment);
    }
    close(said_[1]);
    await_port();
}

RunningBroker::~RunningBroker() {
    if (process_ != -1) {
        end(SIGTERM);
    }
    close(said_[0]);
}

int RunningBroker::end(int signal) {
    int status = -1;
    kill(process_, signal);
    while (waitpid(process_, &status, 0) == -1 && errno == EINTR) {
    }
    process_ = -1;
    return status;
}

std::string RunningBroker::setting() const {
    return "DIAG_BROKER=127.0.0.1:" + std::to_string(port_);
}

void RunningBroker::become(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const std::string &setting : environment) {
        putenv(const_cast<char *>(setting.c_str()));
    }
    std::vector<const char *> words = {BUSBROKER, "--foreground", "--port", "0"};
    for (const std::string &argument : arguments) {
        words.push_back(argument.c_str());
    }
    words.push_back(nullptr);
    dup2(said_[1], STDOUT_FILENO);
    dup2(said_[1], STDERR_FILENO);
    execv(words[0], const_cast<char *const *>(words.data()));
    _exit(127);
}

// It tells its port once it can be asked; its end would end the pipe.
void RunningBroker::await_port() {
    const std::string mark = "listening on 127.0.0.1:";
    std::string text;
    for (char next = 0; read(said_[0], &next, 1) == 1; text += next) {
        const size_t start = text.find(mark);
        if (start != std::string::npos && next == '\n') {
            port_ = static_cast<uint16_t>(std::stoul(text.substr(start + mark.size())));
            return;
        }
    }
    throw std::runtime_error("the bus broker does not serve: " + text);
}

}  // namespace diag::test
