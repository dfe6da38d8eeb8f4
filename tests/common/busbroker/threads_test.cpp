// SPDX-License-Identifier: MIT
// Starting a client's threads.
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/common/busbroker/unwritable_output.h"
#include "tests/common/process_state.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Threads = LibraryTest;

// What the started threads saw.
std::atomic<void *> tx_arg;
std::atomic<void *> rx_arg;

void *note_tx(void *arg) {
    tx_arg = arg;
    return arg;
}
void *note_rx(void *arg) {
    rx_arg = arg;
    return arg;
}

// A stack that no machine has the address space for.
class ImpossibleStack {
  public:
    ImpossibleStack() {
        pthread_attr_init(&attr_);
        EXPECT_EQ(pthread_attr_setstacksize(&attr_, size_t{1} << 60), 0);
    }
    ~ImpossibleStack() { pthread_attr_destroy(&attr_); }
    ImpossibleStack(const ImpossibleStack &) = delete;
    ImpossibleStack &operator=(const ImpossibleStack &) = delete;

    const pthread_attr_t *get() const { return &attr_; }

  private:
    pthread_attr_t attr_{};
};

// Texts of the messages up to a level, with the numbers of threads left out.
std::string told(const std::function<void()> &action, int level) {
    std::string text = text_logged_by(action, level);
    const std::string mark = "[id:";
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
        text.erase(at + mark.size(), text.find(']', at) - at - mark.size());
    }
    return text;
}

// ---- one thread ----

TEST_F(Threads, AThreadRunsWithItsArgument) {
    int argument = 0;
    pthread_t thread{};
    void *result = nullptr;
    EXPECT_EQ(told(
                  [&] {
                      EXPECT_EQ(create_thread(&thread, nullptr, note_tx, &argument), 0U);
                      pthread_join(thread, &result);
                  },
                  3),
              "Thread [id:] created successfully\n");
    EXPECT_EQ(tx_arg, &argument);
    EXPECT_EQ(result, &argument);
}

TEST_F(Threads, AThreadHasTheAttributesThatAreGiven) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    int argument = 0;
    pthread_t thread{};
    tx_arg = nullptr;
    EXPECT_EQ(create_thread(&thread, &attr, note_tx, &argument), 0U);
    EXPECT_TRUE(eventually([&] { return tx_arg == &argument; }));
    pthread_attr_destroy(&attr);
}

TEST_F(Threads, AThreadThatCannotBeMadeIsAnErrorWithItsNumber) {
    const ImpossibleStack stack;
    pthread_t thread{};
    EXPECT_EQ(logged_by([&] {
                  EXPECT_EQ(create_thread(&thread, stack.get(), note_tx, nullptr), DIAG_E_INVAL);
              }),
              error_in("create_thread",
                       "Thread creation failed with code = " + std::to_string(EAGAIN) + "\n"));
}

TEST_F(Threads, AThreadNeedsAPlaceForItsNumberAndAStart) {
    pthread_t thread{};
    EXPECT_EQ(create_thread(nullptr, nullptr, note_tx, nullptr), DIAG_E_INVAL);
    EXPECT_EQ(create_thread(&thread, nullptr, nullptr, nullptr), DIAG_E_INVAL);
}

// ---- a client's two ----

class ClientThreads : public LibraryTest {
  protected:
    ClientThreads() {
        tx_arg = rx_arg = nullptr;
        client_->tool_id = 12;
        client_->inst_id = 345;
        client_->sock_cfg.is_udp = client_->sock_cfg.is_ipv4 = 1;
        std::snprintf(client_->sock_cfg.ip, sizeof client_->sock_cfg.ip, "127.0.0.1");
    }
    uint32_t start(const pthread_attr_t *tx_attr = nullptr, const pthread_attr_t *rx_attr = nullptr,
                   int connect = 0) {
        return create_sock_threads(tx_attr, rx_attr, &client_.info(), note_tx, note_rx, connect);
    }

    TransportClient client_;
};

TEST_F(ClientThreads, RunWithTheClientAndItsSocketIsMade) {
    EXPECT_EQ(start(), 0U);
    void *result = nullptr;
    pthread_join(client_->tx_thread, &result);
    EXPECT_EQ(result, &client_.info());
    pthread_join(client_->rx_thread, nullptr);
    EXPECT_EQ(tx_arg, &client_.info());
    EXPECT_EQ(rx_arg, &client_.info());
    int type = 0;
    socklen_t size = sizeof type;
    EXPECT_EQ(getsockopt(client_->sock_fd, SOL_SOCKET, SO_TYPE, &type, &size), 0);
    EXPECT_EQ(type, SOCK_DGRAM);
}

TEST_F(ClientThreads, AreToldAfterTheSocket) {
    EXPECT_EQ(told(
                  [&] {
                      start();
                      pthread_join(client_->tx_thread, nullptr);
                      pthread_join(client_->rx_thread, nullptr);
                  },
                  3),
              "Creating socket......! \n"
              "Binding to IP: 127.0.0.1, Port:0\n"
              "Socket binding successful\n"
              "Socket is ready \n"
              "Thread [id:] created successfully\n"
              "Thread [id:] created successfully\n");
}

// The text promises tool and instance, the numbers are the error's and the tool's.
TEST_F(ClientThreads, WithoutASocketAreNotStarted) {
    const DaemonEnd taken;
    client_->sock_cfg.PortNo = ntohs(taken.address().sin_port);
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(start(), DIAG_E_INVAL); }).back(),
              (Message{-1, "Socket creation failed for the tool id = " +
                               std::to_string(EADDRINUSE) + " & inst id = 12\n"}));
    EXPECT_EQ(told(
                  [&] {
                      const NoMoreDescriptors limit;
                      EXPECT_EQ(start(), DIAG_E_INVAL);
                  },
                  -1),
              "create_socket[]: Socket creation error \n"
              "create_sock_threads[]: Socket creation failed for the tool id = " +
                  std::to_string(EMFILE) + " & inst id = 12\n");
    EXPECT_EQ(tx_arg, nullptr);
    EXPECT_EQ(rx_arg, nullptr);
}

TEST_F(ClientThreads, TheNumberOfTheErrorSurvivesTheTellingOfItsPlace) {
    const DaemonEnd taken;
    client_->sock_cfg.PortNo = ntohs(taken.address().sin_port);
    {
        const UnwritableOutput output;
        EXPECT_EQ(start(), DIAG_E_INVAL);
    }
    ASSERT_EQ(logged().size(), 2U);
    EXPECT_EQ(logged()[1].text, "ERROR: Socket creation failed for the tool id = " +
                                    std::to_string(EADDRINUSE) + " & inst id = 12\n");
}

TEST_F(ClientThreads, AreBothStartedOrAnErrorIsTold) {
    const ImpossibleStack stack;
    const std::string error =
        "create_thread[]: Thread creation failed with code = 11\n"
        "create_sock_threads[]: "
        "Can't create tx thread for tool id = 12 with inst_id = 345\n";
    EXPECT_EQ(told([&] { EXPECT_EQ(start(stack.get(), nullptr), DIAG_E_INVAL); }, 0), error);
    EXPECT_EQ(rx_arg, nullptr) << "the receive thread is the second one";
    close(client_->sock_fd);
    EXPECT_EQ(told([&] { EXPECT_EQ(start(nullptr, stack.get()), DIAG_E_INVAL); }, 0), error);
    pthread_join(client_->tx_thread, nullptr);
    EXPECT_EQ(tx_arg, &client_.info()) << "the transmit thread runs by then";
    EXPECT_EQ(rx_arg, nullptr);
}

TEST_F(ClientThreads, NeedAClientAndTheirStarts) {
    EXPECT_EQ(create_sock_threads(nullptr, nullptr, nullptr, note_tx, note_rx, 0), DIAG_E_INVAL);
    EXPECT_EQ(create_sock_threads(nullptr, nullptr, &client_.info(), nullptr, note_rx, 0),
              DIAG_E_INVAL);
}

// ---- the library's own ----

TEST_F(ClientThreads, OfAConnectedDatagramSocketServeRequests) {
    DaemonEnd daemon;
    client_->sock_cfg.addr = daemon.address();
    client_->sock_cfg.PortNo = ntohs(daemon.address().sin_port);
    ASSERT_EQ(
        create_sock_threads(nullptr, nullptr, &client_.info(), sock_tx_thread, sock_rx_thread, 1),
        0U);
    {
        ReadRecord record;
        const auto call = record.start(client_);
        daemon.receive();
        daemon.send(read_answer(7, "Success,0004,01020304"));
        EXPECT_EQ(call->status(), 0U);
    }
    for (const pthread_t thread : {client_->tx_thread, client_->rx_thread}) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
}

TEST_F(ClientThreads, OfAStreamServeRequests) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), size), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size), 0);
    client_->sock_cfg.is_udp = 0;
    client_->sock_cfg.addr = address;
    client_->sock_cfg.PortNo = ntohs(address.sin_port);
    ASSERT_EQ(
        create_sock_threads(nullptr, nullptr, &client_.info(), sock_tx_thread, sock_rx_thread, 1),
        0U);
    const int daemon = accept(listener, nullptr, nullptr);
    {
        ReadRecord record;
        const auto call = record.start(client_);
        char frame[256] = "";
        EXPECT_GT(recv(daemon, frame, sizeof frame - 1, 0), 0);
        EXPECT_TRUE(std::string(frame).starts_with("RQS"));
        const std::string answer = read_answer(7, "Success,0004,01020304");
        // in two pieces, as a stream may deliver them
        EXPECT_GT(::send(daemon, answer.data(), 40, 0), 0);
        EXPECT_GT(::send(daemon, answer.data() + 40, answer.size() - 40, 0), 0);
        EXPECT_EQ(call->status(), 0U);
        EXPECT_EQ(record.bytes[3], 4);
    }
    for (const pthread_t thread : {client_->tx_thread, client_->rx_thread}) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
    close(daemon);
    close(listener);
}

}  // namespace
}  // namespace diag::test
