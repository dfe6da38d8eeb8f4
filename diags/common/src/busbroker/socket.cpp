// SPDX-License-Identifier: MIT
// The socket to the daemon, and the start of a client's threads.
#include <arpa/inet.h>
#include <cerrno>
#include <sys/socket.h>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/unique_fd.h"
#include "diags/common/src/log.h"

namespace {

constexpr char kCreateSocket[] = "create_socket";

// The error of a call, which is errno again at the end of the scope: messages may change it.
class ErrnoKeeper {
  public:
    ErrnoKeeper() = default;
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;
    ~ErrnoKeeper() { errno = error_; }

    int error() const { return error_; }

  private:
    int error_ = errno;
};

const sockaddr *generic(const sockaddr_in &address) {
    return reinterpret_cast<const sockaddr *>(&address);
}

void fill_address(socket_cfg &cfg, int family) {
    const in_addr kept = cfg.addr.sin_addr;
    cfg.addr = sockaddr_in{};
    cfg.addr.sin_family = static_cast<sa_family_t>(family);
    cfg.addr.sin_port = htons(cfg.PortNo);
    cfg.addr.sin_addr = kept;
}

bool connect_socket(int fd, const socket_cfg &cfg) {
    if (connect(fd, generic(cfg.addr), sizeof cfg.addr) == -1) {
        const ErrnoKeeper keeper;
        diag_print(1, "Socket connect fail with err code [%d]\n", keeper.error());
        return false;
    }
    diag_print(3, "Socket connected \n");
    return true;
}

// An unusable text would become the broadcast address, to which a socket can be bound.
bool set_address(socket_cfg &cfg) {
    if (inet_aton(cfg.ip, &cfg.addr.sin_addr) == 0) {
        errno = EINVAL;
        return false;
    }
    return true;
}

bool bind_socket(int fd, socket_cfg &cfg) {
    if (cfg.addr.sin_family != AF_INET) {
        DIAG_ERROR_IN(kCreateSocket, "Currently we don't support IPV6\n");
        return false;
    }
    diag_print(3, "Binding to IP: %s, Port:%d\n", cfg.ip, cfg.PortNo);
    if (!set_address(cfg) || bind(fd, generic(cfg.addr), sizeof cfg.addr) == -1) {
        const ErrnoKeeper keeper;
        diag_print(3, "Socket bind failure with err code  [%d]\n", keeper.error());
        return false;
    }
    diag_print(3, "Socket binding successful\n");
    return true;
}

bool start_thread(const tool_info &client, pthread_t &thread, const pthread_attr_t *attr,
                  void *(*start)(void *)) {
    if (create_thread(&thread, attr, start, const_cast<tool_info *>(&client)) == 0) {
        return true;
    }
    DIAG_ERROR_IN("create_sock_threads",
                  "Can't create tx thread for tool id = %d with inst_id = %d\n", client.tool_id,
                  static_cast<int>(client.inst_id));
    return false;
}

}  // namespace

uint32_t create_socket(socket_cfg *cfg, int *fd, int connect) {
    if (cfg == nullptr || fd == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    *fd = -1;
    diag_print(3, "Creating socket......! \n");
    const int family = cfg->is_ipv4 != 0 ? AF_INET : AF_INET6;
    const int type = cfg->is_udp != 0 ? SOCK_DGRAM : SOCK_STREAM;
    diag::UniqueFd made(socket(family, type | SOCK_CLOEXEC, 0));
    if (made.get() == -1) {
        const ErrnoKeeper keeper;
        DIAG_ERROR("Socket creation error \n");
        return DIAG_E_INVAL;
    }
    fill_address(*cfg, family);
    if (!(connect != 0 ? connect_socket(made.get(), *cfg) : bind_socket(made.get(), *cfg))) {
        return DIAG_E_INVAL;
    }
    diag_print(3, "Socket is ready \n");
    *fd = made.release();
    return 0;
}

uint32_t create_thread(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                       void *arg) {
    if (thread == nullptr || start == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    if (const int error = pthread_create(thread, attr, start, arg); error != 0) {
        DIAG_ERROR("Thread creation failed with code = %d\n", error);
        return DIAG_E_INVAL;
    }
    diag_print(3, "Thread [id:%d] created successfully\n", static_cast<int>(*thread));
    return 0;
}

uint32_t create_sock_threads(const pthread_attr_t *tx_attr, const pthread_attr_t *rx_attr,
                             tool_info *ctx, void *(*tx_start)(void *), void *(*rx_start)(void *),
                             int connect) {
    if (ctx == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info\n");
        return DIAG_E_INVAL;
    }
    if (create_socket(&ctx->sock_cfg, &ctx->sock_fd, connect) != 0) {
        // The tool's number is the second one of the text; logs are searched for it there.
        const int error = errno;
        DIAG_ERROR("Socket creation failed for the tool id = %d & inst id = %d\n", error,
                   ctx->tool_id);
        return DIAG_E_INVAL;
    }
    const bool started = start_thread(*ctx, ctx->tx_thread, tx_attr, tx_start) &&
                         start_thread(*ctx, ctx->rx_thread, rx_attr, rx_start);
    return started ? 0 : DIAG_E_INVAL;
}
