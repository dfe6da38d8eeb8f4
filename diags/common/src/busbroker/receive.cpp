// SPDX-License-Identifier: MIT
#include "diags/common/src/busbroker/receive.h"

#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>

#include "diag_util.h"

#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

// The last byte of the buffer is for the NUL.
constexpr size_t kMostBytes = sizeof(tool_info::rx_buf) - 1;

// All that run.
pthread_mutex_t receivers_lock = PTHREAD_MUTEX_INITIALIZER;
Receiver *receivers = nullptr;

// Where nobody meant to wait, no datagram is no failure.
bool is_worth_another_look(int error, int flags) {
    const bool has_waited = (flags & MSG_DONTWAIT) == 0;
    return error == EINTR || (!has_waited && (error == EAGAIN || error == EWOULDBLOCK));
}

uint32_t receive_into_buffer(tool_info &client, int flags) {
    client.rx_len = 0;
    const ssize_t received =
        recvfrom(client.sock_fd, client.rx_buf, kMostBytes, flags, nullptr, nullptr);
    if (received == 0) {
        diag_print(0, "Desination socket dropped\n");
        return DIAG_E_INVAL;
    }
    if (received < 0) {
        const int error = errno;
        if (is_worth_another_look(error, flags)) {
            return 0;
        }
        DIAG_ERROR_IN("receive_from_socket",
                      "Error while rx data from socket , failed with err code %d\n", error);
        return DIAG_E_INVAL;
    }
    client.rx_len = static_cast<uint32_t>(received);
    client.rx_buf[client.rx_len] = '\0';
    diag_print(3, "Rx data of len %d is %s\n", static_cast<int>(client.rx_len), client.rx_buf);
    return 0;
}

// A program's own machine may rely on the receive thread.
bool is_ours_alone(const tool_info &client) {
    return client.rx_sm == busbroker_rx_state_machine &&
           client.rx_stateinfo == &busbroker_rx_stateinfo &&
           client.req_done == busbroker_parse_update_queues;
}

}  // namespace

Receiver::Receiver(tool_info &client) : client_(client) {
    const Lock lock(receivers_lock);
    next_ = receivers;
    receivers = this;
}

Receiver::~Receiver() {
    {
        const Lock lock(receivers_lock);
        Receiver **link = &receivers;
        while (*link != this) {
            link = &(*link)->next_;
        }
        *link = next_;
    }
    const Lock last_turn(turn_);
}

void Receiver::end_process(const tool_info &client) {
    DIAG_ERROR_IN("sock_rx_thread", "Closing rx thread of tool id [%d], instace id [%d]\n",
                  client.tool_id, static_cast<int>(client.inst_id));
    std::exit(-1);
}

Receiver::Turn::Turn(const tool_info &client) {
    if (!is_ours_alone(client)) {
        return;
    }
    const Lock lock(receivers_lock);
    for (Receiver *receiver = receivers; receiver != nullptr; receiver = receiver->next_) {
        if (&receiver->client_ == &client && pthread_mutex_trylock(&receiver->turn_) == 0) {
            receiver_ = receiver;
            return;
        }
    }
}

Receiver::Turn::Turn(Receiver &receiver) {
    if (pthread_mutex_trylock(&receiver.turn_) == 0) {
        receiver_ = &receiver;
    }
}

Receiver::Turn::~Turn() {
    if (receiver_ != nullptr) {
        pthread_mutex_unlock(&receiver_->turn_);
    }
}

uint32_t Receiver::Turn::receive() {
    tool_info &client = receiver_->client_;
    const uint32_t status = receive_into_buffer(client, MSG_DONTWAIT);
    if (status == 0 && client.rx_len != 0 && client.rx_sm != nullptr) {
        client.rx_sm(&client, nullptr);
    }
    return status;
}

bool Receiver::Turn::receive_within(std::chrono::milliseconds at_most) {
    pollfd socket{receiver_->client_.sock_fd, POLLIN, 0};
    const int ready = poll(&socket, 1, static_cast<int>(at_most.count()));
    if (ready <= 0) {
        return true;
    }
    if ((socket.revents & ~POLLIN) != 0) {
        return false;
    }
    if (receive() != 0) {
        end_process(receiver_->client_);
    }
    return true;
}

}  // namespace diag

uint32_t receive_from_socket(tool_info *ctx) {
    if (ctx == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info\n");
        return DIAG_E_INVAL;
    }
    return diag::receive_into_buffer(*ctx, 0);
}
