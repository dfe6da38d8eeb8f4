// SPDX-License-Identifier: MIT
#include "bench/broker_client.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace diag::bench {

namespace {

constexpr uint8_t kToolId = 16;

}  // namespace

BrokerClient::BrokerClient(uint16_t port, uint32_t instance) {
    context_.tool_id = request_.tool_id = kToolId;
    context_.inst_id = request_.inst_id = instance;
    request_.retry_ms = 1000;
    context_.sock_cfg.is_udp = 1;
    context_.sock_cfg.is_ipv4 = 1;
    std::strcpy(context_.sock_cfg.ip, "127.0.0.1");
    context_.rx_stateinfo = &busbroker_rx_stateinfo;
    context_.rx_sm = busbroker_rx_state_machine;
    context_.req_done = busbroker_parse_update_queues;
    pthread_mutex_init(&context_.tx_lock, nullptr);
    pthread_mutex_init(&context_.rx_lock, nullptr);
    if (create_sock_threads(nullptr, nullptr, &context_, sock_tx_thread, sock_rx_thread, 0) != 0) {
        throw std::runtime_error("cannot start a client of the broker");
    }
    context_.sock_cfg.addr.sin_port = htons(port);
}

uint8_t BrokerClient::read(const char *device, uint32_t address) {
    uint8_t value = 0;
    update_busbroker_req_fields(&request_, address, 1, 8, &value, DIAG_EXPECT_SUCCESS,
                                DIAG_REQ_READ, DIAG_REQ_FLAGS_DEFAULT, nullptr, 0);
    const uint32_t status = request_busbroker(&request_, &context_, device, "bench", 0,
                                              DIAG_REQ_READ, DIAG_TRANSAC_LAST);
    std::free(request_.actual_data);
    if (status != 0) {
        throw std::runtime_error("the broker does not answer a read");
    }
    return value;
}

}  // namespace diag::bench
