// SPDX-License-Identifier: MIT
// The thread that receives the daemon's datagrams.
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/cancellation.h"
#include "diags/common/src/log.h"

namespace {

// The last byte of the buffer is for the NUL.
constexpr size_t kMostBytes = sizeof(tool_info::rx_buf) - 1;

// Waits with cancellation possible; errors are left to the receiving.
void wait_for_datagram(int fd) {
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pollfd readable{fd, POLLIN, 0};
    poll(&readable, 1, -1);
    diag::refuse_cancellation();
}

}  // namespace

uint32_t receive_from_socket(tool_info *ctx) {
    if (ctx == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info\n");
        return DIAG_E_INVAL;
    }
    ctx->rx_len = 0;
    const ssize_t received = recvfrom(ctx->sock_fd, ctx->rx_buf, kMostBytes, 0, nullptr, nullptr);
    if (received == 0) {
        diag_print(0, "Desination socket dropped\n");
        return DIAG_E_INVAL;
    }
    if (received < 0) {
        if (errno == EINTR) {
            return 0;
        }
        DIAG_ERROR("Error while rx data from socket , failed with err code %d\n", errno);
        return DIAG_E_INVAL;
    }
    ctx->rx_len = static_cast<uint32_t>(received);
    ctx->rx_buf[ctx->rx_len] = '\0';
    diag_print(3, "Rx data of len %d is %s\n", static_cast<int>(ctx->rx_len), ctx->rx_buf);
    return 0;
}

void *sock_rx_thread(void *ctx) {
    auto *client = static_cast<tool_info *>(ctx);
    if (client == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info. Exiting the rx thread\n");
        return nullptr;
    }
    diag::refuse_cancellation();
    for (;;) {
        wait_for_datagram(client->sock_fd);
        if (receive_from_socket(client) != 0) {
            break;
        }
        if (client->rx_len != 0 && client->rx_sm != nullptr) {
            client->rx_sm(client, nullptr);
        }
    }
    DIAG_ERROR("Closing rx thread of tool id [%d], instace id [%d]\n", client->tool_id,
               static_cast<int>(client->inst_id));
    std::exit(-1);  // a client without its daemon cannot go on
}
