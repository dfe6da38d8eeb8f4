// SPDX-License-Identifier: MIT
#include "tests/tools/busbroker/daemon_process.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace diag::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{20};

[[noreturn]] void become(std::vector<std::string> words, const TemporaryFolder &folder) {
    setenv("DIAG_BOARD_DIR", folder.path().c_str(), 1);
    const bool redirected = std::freopen(folder.file("out").c_str(), "a", stdout) != nullptr &&
                            std::freopen(folder.file("err").c_str(), "a", stderr) != nullptr;
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    if (redirected) {
        execv(arguments[0], arguments.data());
    }
    _exit(127);
}

// Wakes up whenever a file changes.
class FileWatch {
  public:
    explicit FileWatch(const std::string &path) : descriptor_(inotify_init1(IN_CLOEXEC)) {
        inotify_add_watch(descriptor_, path.c_str(), IN_MODIFY);
    }
    ~FileWatch() { close(descriptor_); }
    FileWatch(const FileWatch &) = delete;
    FileWatch &operator=(const FileWatch &) = delete;

    // False when nothing changes for `timeout_ms`.
    bool wait(int timeout_ms) const {
        pollfd event = {descriptor_, POLLIN, 0};
        if (poll(&event, 1, timeout_ms) != 1) {
            return false;
        }
        std::array<char, 4096> events;
        return read(descriptor_, events.data(), events.size()) > 0;
    }

  private:
    int descriptor_;
};

// Until the file holds the text, or nothing is written to it any more.
bool wait_for_text(const std::string &path, const std::string &text) {
    const FileWatch watch(path);
    const auto end = Clock::now() + kPatience;
    while (read_file(path).find(text) == std::string::npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0 || !watch.wait(static_cast<int>(left))) {
            return read_file(path).find(text) != std::string::npos;
        }
    }
    return true;
}

}  // namespace

uint16_t listening_port(const std::string &output) {
    const size_t start = output.find("listening on ");
    const size_t colon = output.find(':', start);
    return start == std::string::npos || colon == std::string::npos
               ? 0
               : static_cast<uint16_t>(std::atoi(output.c_str() + colon + 1));
}

DaemonProcess::DaemonProcess(const TemporaryFolder &folder,
                             const std::vector<std::string> &arguments)
    : folder_(folder) {
    std::vector<std::string> words = {kBusbroker, "--foreground", "--port", "0"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    folder.write("out", "");
    folder.write("err", "");
    pid_ = fork();
    if (pid_ == 0) {
        become(words, folder);
    }
    wait_until_it_listens();
}

DaemonProcess::~DaemonProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void DaemonProcess::wait_until_it_listens() {
    wait_for_text(folder_.file("out"), "\n");
    port_ = listening_port(read_file(folder_.file("out")));
    if (port_ == 0) {
        throw std::runtime_error("the daemon does not listen: " + errors());
    }
}

std::string DaemonProcess::errors() const {
    return read_file(folder_.file("err"));
}

bool DaemonProcess::wait_for_error(const std::string &text) const {
    return wait_for_text(folder_.file("err"), text);
}

void DaemonProcess::signal(int number) const {
    kill(pid_, number);
}

int DaemonProcess::wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

DaemonClient::DaemonClient(uint16_t port, const std::string &host)
    : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    if (connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect a socket");
    }
}

DaemonClient::~DaemonClient() {
    close(socket_);
}

void DaemonClient::send(FrameFields fields) {
    fields.transaction = transaction_++;
    send_bytes(request_frame(fields));
}

void DaemonClient::send_bytes(const std::string &datagram) const {
    ::send(socket_, datagram.data(), datagram.size(), 0);
}

std::string DaemonClient::receive(int timeout_ms) const {
    pollfd event = {socket_, POLLIN, 0};
    std::string frame(8192, '\0');
    const ssize_t size =
        poll(&event, 1, timeout_ms) == 1 ? recv(socket_, frame.data(), frame.size(), 0) : -1;
    if (size < 0) {
        return {};
    }
    frame.resize(static_cast<size_t>(size));
    const auto answer = parse_answer(frame);
    return answer ? answer->data : "no answer frame: " + frame;
}

std::string DaemonClient::ask(const FrameFields &fields) {
    send(fields);
    return receive();
}

std::string DaemonClient::status() {
    std::string document;
    std::string piece;
    do {
        const auto offset = static_cast<uint32_t>(document.size());
        const std::string text = ask(read_request("busbroker", offset, 200));
        const std::string hex = text.substr(text.rfind(',') + 1);
        piece.clear();
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            piece.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        document += piece;
    } while (!piece.empty());
    return document;
}

}  // namespace diag::test
