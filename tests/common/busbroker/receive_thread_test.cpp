// SPDX-License-Identifier: MIT
// The receive thread's life, and how it ends the process.
#include <cerrno>
#include <csignal>
#include <mutex>
#include <sys/socket.h>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/busbroker/socket_doubles.h"
#include "tests/common/busbroker/transport.h"
#include "tests/common/process_state.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using testing::ExitedWithCode;

class ReceiveThread : public LibraryTest {
  protected:
    ~ReceiveThread() override { close_other(); }

    // A client whose socket is one of a pair.
    void make_pair(TransportClient &client, int type = SOCK_SEQPACKET) {
        int pair[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, pair), 0);
        client->sock_fd = pair[0];
        other_ = pair[1];
    }
    void send(const std::string &datagram) {
        EXPECT_EQ(::send(other_, datagram.data(), datagram.size(), 0),
                  static_cast<ssize_t>(datagram.size()));
    }
    void close_other() {
        if (other_ != -1) {
            close(other_);
            other_ = -1;
        }
    }

    int other_ = -1;
};

TEST_F(ReceiveThread, EndsWithoutAContext) {
    EXPECT_EQ(
        logged_by([] { EXPECT_EQ(sock_rx_thread(nullptr), nullptr); }),
        error_in("sock_rx_thread", "NULL Ptr received as tool info. Exiting the rx thread\n"));
}

// ---- what the machine is given ----

// A program's own machine, which notes what it is called with.
class NotedMachine {
  public:
    explicit NotedMachine(TransportClient &client) {
        datagrams_.clear();
        client_ = &client.info();
        client->rx_sm = note;
    }
    static std::vector<std::string> datagrams() {
        const std::lock_guard guard(lock_);
        return datagrams_;
    }
    static bool wait_for(size_t count) {
        return eventually([count] { return datagrams().size() >= count; });
    }

  private:
    static uint32_t note(tool_info *client, void *arg) {
        EXPECT_EQ(client, client_);
        EXPECT_EQ(arg, nullptr);
        const std::lock_guard guard(lock_);
        datagrams_.emplace_back(client->rx_buf, client->rx_len);
        return DIAG_E_FAIL;  // carries no meaning for the thread
    }

    static inline std::mutex lock_;
    static inline std::vector<std::string> datagrams_;
    static inline tool_info *client_;
};

TEST_F(ReceiveThread, HandsEachDatagramToTheMachineInOrder) {
    TransportClient client;
    make_pair(client);
    const NotedMachine machine(client);
    client.start_receiving();
    std::vector<std::string> sent;
    for (int i = 0; i < 20; i++) {
        sent.push_back("datagram " + std::to_string(i));
        send(sent.back());
    }
    NotedMachine::wait_for(20);
    EXPECT_EQ(NotedMachine::datagrams(), sent);
}

TEST_F(ReceiveThread, GoesOnAfterInterruptionsAndHandsNothingToTheMachineThen) {
    TransportClient client;
    make_pair(client);
    const NotedMachine machine(client);
    const FailingReceives interruptions({EINTR, EINTR, EINTR});
    client.start_receiving();
    send("datagram");
    NotedMachine::wait_for(1);
    EXPECT_EQ(NotedMachine::datagrams(), std::vector<std::string>{"datagram"});
    EXPECT_EQ(interruptions.left(), 0U);
}

TEST_F(ReceiveThread, GoesOnAfterAlarms) {
    TransportClient client;
    make_pair(client);
    const NotedMachine machine(client);
    const SignalAction action(SIGALRM, count_signal);
    signals_counted = 0;
    client.start_receiving();
    for (int i = 0; i < 20; i++) {
        const int before = signals_counted;
        pthread_kill(client->rx_thread, SIGALRM);
        eventually([before] { return signals_counted > before; });
    }
    send("datagram");
    EXPECT_TRUE(NotedMachine::wait_for(1));
}

TEST_F(ReceiveThread, PassesOverDatagramsWhenThereIsNoMachine) {
    TransportClient client;
    make_pair(client);
    client->rx_sm = nullptr;
    client.start_receiving();
    send("dropped");
    const int client_end = client->sock_fd;
    char byte = 0;
    EXPECT_TRUE(
        eventually([&] { return recv(client_end, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == -1; }));
}

TEST_F(ReceiveThread, CanBeCancelledAndStartedAgain) {
    TransportClient client;
    make_pair(client);
    const NotedMachine machine(client);
    for (size_t i = 1; i <= 3; i++) {
        client.start_receiving();
        send("datagram");
        NotedMachine::wait_for(i);
        client.stop();
    }
    send("left alone");
    char buffer[32];
    EXPECT_EQ(recv(client->sock_fd, buffer, sizeof buffer, MSG_DONTWAIT), 10);
}

// ---- the end of the process ----

// In the child of a death test: what it says goes where the parent reads it.
void say_on_standard_error() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    alarm(10);  // a thread that does not end the process shall not hang the test
}

// Runs the receive thread until it ends the process.
[[noreturn]] void run_thread(TransportClient &client) {
    client->tool_id = 12;
    client->inst_id = 345;
    client.start_receiving();
    for (;;) {
        pause();
    }
}

constexpr char kClosing[] =
    "ERROR: sock_rx_thread\\[[0-9]+\\]: "
    "ERROR: Closing rx thread of tool id \\[12\\], instace id \\[345\\]\n$";

std::string closing_after(const std::string &reason) {
    return reason + kClosing;
}

std::string failed_with(int error) {
    return closing_after(
        "ERROR: receive_from_socket\\[[0-9]+\\]: "
        "ERROR: Error while rx data from socket , failed with err code " +
        std::to_string(error) + "\n");
}

using ReceiveThreadDeathTest = ReceiveThread;

TEST_F(ReceiveThreadDeathTest, EndsTheProcessWhenTheDaemonClosesItsSocket) {
    for (const int type : {SOCK_STREAM, SOCK_SEQPACKET}) {
        EXPECT_EXIT(
            {
                say_on_standard_error();
                TransportClient client;
                make_pair(client, type);
                close_other();
                run_thread(client);
            },
            ExitedWithCode(255), closing_after("^Desination socket dropped\n"));
    }
}

TEST_F(ReceiveThreadDeathTest, EndsTheProcessOnAnEmptyDatagram) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            TransportClient client;
            make_pair(client, SOCK_DGRAM);
            send("");
            run_thread(client);
        },
        ExitedWithCode(255), closing_after("^Desination socket dropped\n"));
}

TEST_F(ReceiveThreadDeathTest, EndsTheProcessWhenReceivingFails) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            TransportClient client;
            make_pair(client);
            const FailingReceives failures({EINTR, ENOMEM});
            send("datagram");
            run_thread(client);
        },
        ExitedWithCode(255), "^" + failed_with(ENOMEM));
}

// The first frame to a daemon that is away comes back as an error.
TEST_F(ReceiveThreadDeathTest, EndsTheProcessWhenNobodyListensAtAConnectedSocket) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            auto daemon = std::make_unique<DaemonEnd>();
            TransportClient client(*daemon);
            EXPECT_EQ(
                connect(client->sock_fd, reinterpret_cast<const sockaddr *>(&daemon->address()),
                        sizeof(sockaddr_in)),
                0);
            daemon.reset();
            client.start_transmitting();
            client.queue("frame", 1);
            run_thread(client);
        },
        ExitedWithCode(255), failed_with(ECONNREFUSED));
}

TEST_F(ReceiveThreadDeathTest, EndsTheProcessOnADescriptorThatIsClosed) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            TransportClient client;
            client->sock_fd = 999;
            run_thread(client);
        },
        ExitedWithCode(255), "^" + failed_with(EBADF));
}

TEST_F(ReceiveThreadDeathTest, EndsTheProcessWithoutASocket) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            TransportClient client;
            client->sock_fd = -1;
            run_thread(client);
        },
        ExitedWithCode(255), "^" + failed_with(EBADF));
}

TEST_F(ReceiveThreadDeathTest, EndsTheProcessWhileACallerWaits) {
    EXPECT_EXIT(
        {
            say_on_standard_error();
            TransportClient client;
            client->tool_id = 12;
            client->inst_id = 345;
            make_pair(client, SOCK_STREAM);
            client.start();
            ReadRecord record;
            const auto call = record.start(client);
            call->falls_asleep();
            close_other();
            call->status();
        },
        ExitedWithCode(255), kClosing);
}

}  // namespace
}  // namespace diag::test
