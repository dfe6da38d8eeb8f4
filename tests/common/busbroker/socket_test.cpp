// SPDX-License-Identifier: MIT
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/common/process_state.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

constexpr char kCreateSocket[] = "create_socket";
const Message kCreating{3, "Creating socket......! \n"};
const Message kReady{3, "Socket is ready \n"};

socket_cfg config(bool is_udp, bool is_ipv4 = true, uint16_t port = 0,
                  const char *ip = "127.0.0.1") {
    socket_cfg cfg{};
    cfg.is_udp = is_udp ? 1 : 0;
    cfg.is_ipv4 = is_ipv4 ? 1 : 0;
    cfg.PortNo = port;
    std::snprintf(cfg.ip, sizeof cfg.ip, "%s", ip);
    return cfg;
}

int option(int fd, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, name, &value, &size), 0);
    return value;
}

sockaddr_in own_address(int fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return address;
}

sockaddr_in peer_address(int fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getpeername(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return address;
}

// A port of loopback that is listened on.
class Listener {
  public:
    Listener() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd_, 16), 0);
    }
    ~Listener() { close(); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    uint16_t port() const { return ntohs(own_address(fd_).sin_port); }
    int accept() const { return ::accept(fd_, nullptr, nullptr); }
    void close() {
        if (fd_ != -1) {
            ::close(fd_);
        }
        fd_ = -1;
    }

  private:
    int fd_;
};

bool has_ipv6() {
    const int fd = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    close(fd);
    return fd != -1;
}

class SocketTest : public LibraryTest {
  protected:
    ~SocketTest() override { drop(); }

    uint32_t create(socket_cfg &cfg, int connect) {
        drop();
        fd_ = 77;
        return create_socket(&cfg, &fd_, connect);
    }
    void drop() {
        if (fd_ != -1) {
            close(fd_);
        }
        fd_ = -1;
    }

    int fd_ = -1;
};

void expect_address(const socket_cfg &cfg, uint16_t port, uint32_t address) {
    EXPECT_EQ(cfg.addr.sin_family, AF_INET);
    EXPECT_EQ(ntohs(cfg.addr.sin_port), port);
    EXPECT_EQ(ntohl(cfg.addr.sin_addr.s_addr), address);
    for (const unsigned char byte : cfg.addr.sin_zero) {
        EXPECT_EQ(byte, 0);
    }
}

// ---- bound ----

TEST_F(SocketTest, IsBoundToTheAddressInTheText) {
    for (const bool is_udp : {true, false}) {
        socket_cfg cfg = config(is_udp);
        std::memset(&cfg.addr, 0xFF, sizeof cfg.addr);
        EXPECT_EQ(create(cfg, 0), 0U);
        EXPECT_EQ(option(fd_, SO_TYPE), is_udp ? SOCK_DGRAM : SOCK_STREAM);
        EXPECT_EQ(option(fd_, SO_DOMAIN), AF_INET);
        expect_address(cfg, 0, INADDR_LOOPBACK);
        EXPECT_EQ(own_address(fd_).sin_addr.s_addr, cfg.addr.sin_addr.s_addr);
        EXPECT_NE(own_address(fd_).sin_port, 0);
    }
}

TEST_F(SocketTest, IsBoundToThePortThatIsAskedFor) {
    uint16_t port = 0;
    {
        const DaemonEnd free_again;
        port = ntohs(free_again.address().sin_port);
    }
    socket_cfg cfg = config(true, true, port);
    EXPECT_EQ(create(cfg, 0), 0U);
    EXPECT_EQ(ntohs(own_address(fd_).sin_port), port);
    expect_address(cfg, port, INADDR_LOOPBACK);
}

TEST_F(SocketTest, BindingIsToldAtLevelThree) {
    EXPECT_EQ(logged_by([this] {
                  socket_cfg cfg = config(true);
                  create(cfg, 0);
              }),
              (Messages{kCreating,
                        {3, "Binding to IP: 127.0.0.1, Port:0\n"},
                        {3, "Socket binding successful\n"},
                        kReady}));
}

TEST_F(SocketTest, APortThatIsTakenIsAFailureToldAtLevelThree) {
    const DaemonEnd taken;
    const uint16_t port = ntohs(taken.address().sin_port);
    const auto before = open_descriptors();
    EXPECT_EQ(logged_by([&] {
                  socket_cfg cfg = config(true, true, port);
                  fd_ = -1;
                  EXPECT_EQ(create_socket(&cfg, &fd_, 0), DIAG_E_INVAL);
                  EXPECT_EQ(fd_, -1);
              }),
              (Messages{kCreating,
                        {3, "Binding to IP: 127.0.0.1, Port:" + std::to_string(port) + "\n"},
                        {3, "Socket bind failure with err code  [" + std::to_string(EADDRINUSE) +
                                "]\n"}}));
    EXPECT_EQ(open_descriptors(), before) << "the socket is closed";
}

TEST_F(SocketTest, AnAddressOfSomebodyElseCannotBeBound) {
    socket_cfg cfg = config(true, true, 0, "192.0.2.1");
    EXPECT_EQ(create(cfg, 0), DIAG_E_INVAL);
    EXPECT_EQ(fd_, -1);
}

TEST_F(SocketTest, OfIpv6IsNotBound) {
    if (!has_ipv6()) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    const auto before = open_descriptors();
    for (const bool is_udp : {true, false}) {
        Messages expected = {kCreating};
        const Messages error = error_in(kCreateSocket, "Currently we don't support IPV6\n");
        expected.insert(expected.end(), error.begin(), error.end());
        EXPECT_EQ(logged_by([&] {
                      socket_cfg cfg = config(is_udp, false);
                      fd_ = -1;
                      EXPECT_EQ(create_socket(&cfg, &fd_, 0), DIAG_E_INVAL);
                  }),
                  expected);
    }
    EXPECT_EQ(open_descriptors(), before);
}

// ---- connected ----

TEST_F(SocketTest, IsConnectedToTheStoredAddressWhateverTheTextSays) {
    const DaemonEnd daemon;
    const uint16_t port = ntohs(daemon.address().sin_port);
    socket_cfg cfg = config(true, true, port, "192.0.2.1");
    cfg.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    cfg.addr.sin_zero[3] = 7;
    EXPECT_EQ(create(cfg, 1), 0U);
    EXPECT_EQ(option(fd_, SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(peer_address(fd_).sin_port, daemon.address().sin_port);
    expect_address(cfg, port, INADDR_LOOPBACK);
}

TEST_F(SocketTest, OfAStreamIsConnected) {
    const Listener listener;
    socket_cfg cfg = config(false, true, listener.port());
    cfg.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(create(cfg, 2), 0U) << "any value but 0 connects";
    EXPECT_EQ(option(fd_, SO_TYPE), SOCK_STREAM);
    const int accepted = listener.accept();
    EXPECT_NE(accepted, -1);
    close(accepted);
}

TEST_F(SocketTest, ConnectingIsToldAtLevelThree) {
    const DaemonEnd daemon;
    EXPECT_EQ(logged_by([&] {
                  socket_cfg cfg = config(true, true, ntohs(daemon.address().sin_port));
                  cfg.addr = daemon.address();
                  create(cfg, 1);
              }),
              (Messages{kCreating, {3, "Socket connected \n"}, kReady}));
}

TEST_F(SocketTest, WithNobodyListeningIsAFailureToldAtLevelOne) {
    Listener listener;
    const uint16_t port = listener.port();
    listener.close();
    const auto before = open_descriptors();
    EXPECT_EQ(logged_by([&] {
                  socket_cfg cfg = config(false, true, port);
                  cfg.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
                  fd_ = -1;
                  EXPECT_EQ(create_socket(&cfg, &fd_, 1), DIAG_E_INVAL);
                  EXPECT_EQ(fd_, -1);
                  expect_address(cfg, port, INADDR_LOOPBACK);
              }),
              (Messages{kCreating,
                        {1, "Socket connect fail with err code [" + std::to_string(ECONNREFUSED) +
                                "]\n"}}));
    EXPECT_EQ(open_descriptors(), before) << "the socket is closed";
}

TEST_F(SocketTest, OfIpv6DoesNotConnectToAnIpv4Address) {
    if (!has_ipv6()) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    socket_cfg cfg = config(true, false, 5000);
    EXPECT_EQ(create(cfg, 1), DIAG_E_INVAL);
    EXPECT_EQ(cfg.addr.sin_family, AF_INET6);
    EXPECT_EQ(ntohs(cfg.addr.sin_port), 5000);
}

// ---- both ----

TEST_F(SocketTest, ThatCannotBeHadIsAnError) {
    for (const int connect : {0, 1}) {
        Messages expected = {kCreating};
        const Messages error = error_in(kCreateSocket, "Socket creation error \n");
        expected.insert(expected.end(), error.begin(), error.end());
        EXPECT_EQ(logged_by([&] {
                      const NoMoreDescriptors limit;
                      socket_cfg cfg = config(true);
                      fd_ = 77;
                      EXPECT_EQ(create_socket(&cfg, &fd_, connect), DIAG_E_INVAL);
                      EXPECT_EQ(fd_, -1);
                  }),
                  expected);
    }
}

TEST_F(SocketTest, IsNotHandedToTools) {
    socket_cfg cfg = config(true);
    EXPECT_EQ(create(cfg, 0), 0U);
    EXPECT_NE(fcntl(fd_, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(SocketTest, NeedsAConfigurationAndAPlaceForTheDescriptor) {
    socket_cfg cfg = config(true);
    EXPECT_EQ(create_socket(nullptr, &fd_, 0), DIAG_E_INVAL);
    EXPECT_EQ(create_socket(&cfg, nullptr, 0), DIAG_E_INVAL);
}

}  // namespace
}  // namespace diag::test
