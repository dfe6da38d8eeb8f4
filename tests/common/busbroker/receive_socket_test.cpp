// SPDX-License-Identifier: MIT
// One datagram from the socket into the buffer.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/busbroker/socket_doubles.h"
#include "tests/common/busbroker/transport.h"
#include "tests/common/busbroker/unwritable_output.h"
#include "tests/common/process_state.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

constexpr size_t kBuffer = 4096;

// A pair of sockets: the client's and the other one.
class ReceiveTest : public LibraryTest {
  protected:
    ReceiveTest() { make_pair(SOCK_SEQPACKET); }
    ~ReceiveTest() override { close_other(); }

    void make_pair(int type) {
        int pair[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, pair), 0);
        if (client_->sock_fd != -1) {
            close(client_->sock_fd);
            close_other();
        }
        client_->sock_fd = pair[0];
        other_ = pair[1];
    }
    void close_other() {
        if (other_ != -1) {
            close(other_);
            other_ = -1;
        }
    }
    void send(const std::string &datagram) {
        EXPECT_EQ(::send(other_, datagram.data(), datagram.size(), 0),
                  static_cast<ssize_t>(datagram.size()));
    }
    uint32_t receive() { return receive_from_socket(&client_.info()); }
    std::string received() { return {client_->rx_buf, client_->rx_len}; }

    TransportClient client_;
    int other_ = -1;
};

TEST_F(ReceiveTest, ADatagramIsStoredWithANulBehindIt) {
    std::fill(std::begin(client_->rx_buf), std::end(client_->rx_buf), '#');
    send("RPS and more");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "RPS and more");
    EXPECT_EQ(client_->rx_buf[client_->rx_len], '\0');
    EXPECT_EQ(client_->rx_buf[client_->rx_len + 1], '#');
}

TEST_F(ReceiveTest, OneCallTakesOneDatagram) {
    send("longer one");
    send("two");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "longer one");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "two");
}

TEST_F(ReceiveTest, ADatagramMayFillTheBufferAndALongerOneIsCut) {
    for (const size_t length : {kBuffer - 1, kBuffer, kBuffer + 1, 2 * kBuffer}) {
        std::string datagram(length, 'x');
        datagram[std::min(length, kBuffer) - 1] = 'y';
        send(datagram);
        EXPECT_EQ(receive(), 0U);
        EXPECT_EQ(received(), datagram.substr(0, kBuffer));
        EXPECT_EQ(client_->rx_buf[client_->rx_len], '\0');
    }
    send("next");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "next") << "what was cut off is gone";
}

TEST_F(ReceiveTest, NulsAndLineEndsAreBytesLikeOthers) {
    const std::string datagram("a\0b\r\n\xFF\0", 7);
    send(datagram);
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), datagram);
}

TEST_F(ReceiveTest, ADatagramIsToldAtLevelThree) {
    EXPECT_EQ(logged_by([this] {
                  send("RPS");
                  receive();
              }),
              (Messages{{3, "Rx data of len 3 is RPS\n"}}));
}

TEST_F(ReceiveTest, AStreamIsTakenAsItComes) {
    make_pair(SOCK_STREAM);
    send("first");
    send("second");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "firstsecond");
}

// ---- nothing, and failures ----

TEST_F(ReceiveTest, AClosedSocketIsToldAtLevelZero) {
    client_->rx_len = 5;
    close_other();
    EXPECT_EQ(logged_by([this] { EXPECT_EQ(receive(), DIAG_E_INVAL); }),
              (Messages{{0, "Desination socket dropped\n"}}));
    EXPECT_EQ(client_->rx_len, 0U);
}

TEST_F(ReceiveTest, AnEmptyDatagramIsTakenForAClosedSocket) {
    make_pair(SOCK_DGRAM);
    send("");
    EXPECT_EQ(receive(), DIAG_E_INVAL);
    send("RPS");
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(received(), "RPS");
}

TEST_F(ReceiveTest, AFailureIsAnErrorWithItsNumber) {
    const auto failing = [this](int error) {
        const FailingReceives failures({error});
        EXPECT_EQ(receive(), DIAG_E_INVAL) << error;
    };
    for (const int error : {ECONNREFUSED, ENOMEM, EBADF}) {
        EXPECT_EQ(logged_by([&] { failing(error); }),
                  error_in("receive_from_socket",
                           "Error while rx data from socket , failed with err code " +
                               std::to_string(error) + "\n"));
    }
}

// Telling where the error is may itself fail.
TEST_F(ReceiveTest, TheNumberOfAnErrorSurvivesTheTellingOfItsPlace) {
    const FailingReceives failures({ECONNREFUSED});
    {
        const UnwritableOutput output;
        EXPECT_EQ(receive(), DIAG_E_INVAL);
    }
    ASSERT_EQ(logged().size(), 2U);
    EXPECT_EQ(logged()[1].text, "ERROR: Error while rx data from socket , failed with err code " +
                                    std::to_string(ECONNREFUSED) + "\n");
}

TEST_F(ReceiveTest, ADescriptorThatIsNoneIsAFailure) {
    close(client_->sock_fd);
    client_->sock_fd = -1;
    EXPECT_EQ(receive(), DIAG_E_INVAL);
}

// A socket with a time-out of its own, for one: nothing but an interruption is passed over.
TEST_F(ReceiveTest, NothingToReceiveIsAFailure) {
    const timeval soon{0, 1000};
    ASSERT_EQ(setsockopt(client_->sock_fd, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon), 0);
    EXPECT_EQ(
        logged_by([this] { EXPECT_EQ(receive(), DIAG_E_INVAL); }),
        error_in("receive_from_socket", "Error while rx data from socket , failed with err code " +
                                            std::to_string(EAGAIN) + "\n"));
}

TEST_F(ReceiveTest, AnInterruptedCallBringsNothingInSilence) {
    const Messages messages = logged_by([this] {
        client_->rx_len = 5;
        const FailingReceives failures({EINTR});
        EXPECT_EQ(receive(), 0U);
        EXPECT_EQ(client_->rx_len, 0U);
    });
    EXPECT_EQ(messages, Messages{});
}

TEST_F(ReceiveTest, AnAlarmInterruptsIt) {
    const SignalAction action(SIGALRM, count_signal);
    client_->rx_len = 5;
    uint32_t status = 77;
    std::atomic<pid_t> thread_id = 0;
    std::atomic<bool> done = false;
    std::thread thread([&] {
        thread_id = gettid();
        status = receive();
        done = true;
    });
    eventually([&] { return thread_id != 0; });
    EXPECT_TRUE(falls_asleep(thread_id));
    eventually([&] {
        pthread_kill(thread.native_handle(), SIGALRM);
        return done.load();
    });
    thread.join();
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(client_->rx_len, 0U);
}

TEST_F(ReceiveTest, NeedsAContext) {
    EXPECT_EQ(receive_from_socket(nullptr), DIAG_E_INVAL);
}

TEST_F(ReceiveTest, LeavesTheMachineAlone) {
    client_->cur_state = 5;
    client_->rx_idx = 2;
    send(Answer{}.frame());
    EXPECT_EQ(receive(), 0U);
    EXPECT_EQ(client_->cur_state, 5U);
    EXPECT_EQ(client_->rx_idx, 2U);
    client_->cur_state = 0;
    client_->rx_idx = 0;
}

}  // namespace
}  // namespace diag::test
