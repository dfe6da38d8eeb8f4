// SPDX-License-Identifier: MIT
// The program busbroker, and somebody who talks to it.
#ifndef TESTS_TOOLS_BUSBROKER_DAEMON_PROCESS_H
#define TESTS_TOOLS_BUSBROKER_DAEMON_PROCESS_H

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tools/busbroker/frame_maker.h"

namespace diag::test {

inline constexpr const char *kBusbroker = BUSBROKER_PROGRAM;

// A running daemon in the foreground, on a port of its own. It ends with its owner.
class DaemonProcess {
  public:
    // `folder` keeps the state of its board and what it prints.
    DaemonProcess(const TemporaryFolder &folder, const std::vector<std::string> &arguments);
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess &) = delete;
    DaemonProcess &operator=(const DaemonProcess &) = delete;

    uint16_t port() const { return port_; }
    std::string errors() const;
    bool wait_for_error(const std::string &text) const;

    void signal(int number) const;
    // The exit status; 128 + number for a signal.
    int wait();

  private:
    void wait_until_it_listens();

    const TemporaryFolder &folder_;
    pid_t pid_ = -1;
    uint16_t port_ = 0;
};

class DaemonClient {
  public:
    explicit DaemonClient(uint16_t port, const std::string &host = "127.0.0.1");
    ~DaemonClient();
    DaemonClient(const DaemonClient &) = delete;
    DaemonClient &operator=(const DaemonClient &) = delete;

    // Sends the request with a number of its own.
    void send(FrameFields fields);
    void send_bytes(const std::string &datagram) const;
    // The text of the next answer; empty when none comes for so long.
    std::string receive(int timeout_ms = 20'000) const;
    std::string ask(const FrameFields &fields);

    // What the daemon tells about itself.
    std::string status();

  private:
    int socket_;
    uint32_t transaction_ = 1;
};

// The port in "listening on HOST:PORT"; 0 when that is not there.
uint16_t listening_port(const std::string &output);

}  // namespace diag::test

#endif
