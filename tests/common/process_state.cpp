// SPDX-License-Identifier: MIT
#include "tests/common/process_state.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace diag::test {

std::atomic<int> signals_counted;

void count_signal(int /*signal*/) {
    signals_counted++;
}

std::map<int, std::string> open_descriptors() {
    std::map<int, std::string> descriptors;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the descriptor of this very walk
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        descriptors[std::stoi(entry.path().filename())] = target;
    }
    for (auto it = descriptors.begin(); it != descriptors.end();) {
        it = fcntl(it->first, F_GETFD) == -1 ? descriptors.erase(it) : std::next(it);
    }
    return descriptors;
}

int descriptor_of(const std::string &path) {
    const auto descriptors = open_descriptors();
    const auto found = std::find_if(descriptors.begin(), descriptors.end(),
                                    [&](const auto &entry) { return entry.second == path; });
    return found != descriptors.end() ? found->first : -1;
}

uint64_t signal_mask(std::string_view status, std::string_view name) {
    const std::string key = "\n" + std::string(name) + ":";
    const size_t at = status.find(key);
    if (at == std::string_view::npos) {
        throw std::invalid_argument("no " + std::string(name) + " in: " + std::string(status));
    }
    return std::stoull(std::string(status.substr(at + key.size())), nullptr, 16);
}

bool contains(uint64_t mask, int signal) {
    return (mask >> (signal - 1) & 1) != 0;
}

bool is_pending(pid_t thread, int signal) {
    const std::string status = read_file("/proc/self/task/" + std::to_string(thread) + "/status");
    return contains(signal_mask(status, "SigPnd"), signal);
}

bool falls_asleep(pid_t thread) {
    using std::chrono::steady_clock;
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    const auto deadline = steady_clock::now() + std::chrono::seconds(10);
    while (steady_clock::now() < deadline) {
        const std::string stat = read_file(path);
        if (stat.substr(stat.rfind(')')).starts_with(") S")) {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

double processor_seconds() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

NoMoreDescriptors::NoMoreDescriptors() {
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (lowest == -1 || getrlimit(RLIMIT_NOFILE, &saved_) != 0) {
        throw std::runtime_error("cannot tell the lowest free descriptor");
    }
    close(lowest);
    const rlimit limit{static_cast<rlim_t>(lowest), saved_.rlim_max};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        throw std::runtime_error("cannot lower the limit of descriptors");
    }
}

NoMoreDescriptors::~NoMoreDescriptors() {
    setrlimit(RLIMIT_NOFILE, &saved_);
}

SignalAction::SignalAction(int signal, void (*handler)(int)) : signal_(signal) {
    struct sigaction action {};
    action.sa_handler = handler;
    if (sigaction(signal, &action, &saved_) != 0) {
        throw std::runtime_error("cannot handle signal " + std::to_string(signal));
    }
}

SignalAction::~SignalAction() {
    sigaction(signal_, &saved_, nullptr);
}

}  // namespace diag::test
