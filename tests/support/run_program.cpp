// SPDX-License-Identifier: MIT
#include "tests/support/run_program.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace diag::test {

namespace {

[[noreturn]] void become(const std::vector<std::string> &command,
                         const std::vector<std::string> &environment,
                         const TemporaryFolder &folder) {
    for (const std::string &setting : environment) {
        putenv(const_cast<char *>(setting.c_str()));
    }
    const bool redirected = std::freopen(folder.file("in").c_str(), "r", stdin) != nullptr &&
                            std::freopen(folder.file("out").c_str(), "w", stdout) != nullptr &&
                            std::freopen(folder.file("err").c_str(), "w", stderr) != nullptr;
    std::vector<char *> words(command.size() + 1);
    std::transform(command.begin(), command.end(), words.begin(),
                   [](const std::string &word) { return const_cast<char *>(word.c_str()); });
    if (redirected) {
        execvp(words[0], words.data());
    }
    _exit(127);
}

}  // namespace

ProgramResult run_program(const std::vector<std::string> &command,
                          const std::vector<std::string> &environment, const std::string &input) {
    const TemporaryFolder folder;  // files, not pipes: nothing can fill up and wait
    folder.write("in", input);
    folder.write("out", "");
    folder.write("err", "");
    const pid_t pid = fork();
    if (pid == -1) {
        throw std::runtime_error("cannot fork");
    }
    if (pid == 0) {
        become(command, environment, folder);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        throw std::runtime_error("cannot wait for " + command.front());
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            read_file(folder.file("out")), read_file(folder.file("err"))};
}

}  // namespace diag::test
