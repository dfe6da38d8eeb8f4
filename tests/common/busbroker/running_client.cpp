// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/running_client.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace diag::test {

Client::Client() : client_(std::make_unique<tool_info>()) {
    *client_ = {};
    client_->tool_id = 3;
    client_->inst_id = 1;
    client_->sock_fd = -1;
    client_->rx_stateinfo = &busbroker_rx_stateinfo;
    client_->rx_sm = busbroker_rx_state_machine;
    client_->req_done = busbroker_parse_update_queues;
    pthread_mutex_init(&client_->tx_lock, nullptr);
    pthread_mutex_init(&client_->rx_lock, nullptr);
}

Client::~Client() {
    drop_queues();
    reset_sm(client_.get(), nullptr);
    pthread_mutex_destroy(&client_->tx_lock);
    pthread_mutex_destroy(&client_->rx_lock);
}

void Client::drop_queues() {
    while (client_->tx_queue != nullptr) {
        deque_tool_request(client_.get(), client_->tx_queue->transac_id);
    }
    while (client_->rx_queue != nullptr) {
        deque_tool_response(client_.get(), client_->rx_queue->transac_id);
    }
}

RunningClient::RunningClient(const BrokerDouble &broker) {
    socket_cfg &config = get()->sock_cfg;
    config.is_udp = config.is_ipv4 = 1;
    config.PortNo = broker.port();
    config.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (create_sock_threads(nullptr, nullptr, get(), sock_tx_thread, sock_rx_thread, 1) != 0) {
        throw std::runtime_error("the client does not start");
    }
}

RunningClient::~RunningClient() {
    for (const pthread_t thread : {get()->tx_thread, get()->rx_thread}) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
    close(get()->sock_fd);
}

BrokerDouble::Script answering(std::vector<std::string> statuses) {
    return [statuses = std::move(statuses),
            next = size_t{0}](const BrokerRequest &request) mutable -> std::vector<std::string> {
        const std::string status = statuses[std::min(next++, statuses.size() - 1)];
        if (status.empty()) {
            return {};
        }
        return {broker_answer(request, status)};
    };
}

bool sees(const BrokerDouble &broker, size_t requests) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (broker.requests().size() < requests) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

}  // namespace diag::test
