// SPDX-License-Identifier: MIT
#include "tests/broker/library_client.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <unistd.h>

namespace diag::test {

namespace {

constexpr uint8_t kToolId = 16;

}  // namespace

LibraryClient::LibraryClient(uint16_t port, uint32_t instance, uint32_t retry_ms,
                             Connected connected) {
    context_.tool_id = request_.tool_id = kToolId;
    context_.inst_id = request_.inst_id = instance;
    request_.retry_ms = retry_ms;
    socket_cfg &cfg = context_.sock_cfg;
    cfg.is_udp = cfg.is_ipv4 = 1;
    std::strcpy(cfg.ip, "127.0.0.1");
    cfg.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connects = connected == Connected::kYes;
    cfg.PortNo = connects ? port : 0;
    context_.rx_stateinfo = &busbroker_rx_stateinfo;
    context_.rx_sm = busbroker_rx_state_machine;
    context_.req_done = busbroker_parse_update_queues;
    pthread_mutex_init(&context_.tx_lock, nullptr);
    pthread_mutex_init(&context_.rx_lock, nullptr);
    if (create_sock_threads(nullptr, nullptr, &context_, sock_tx_thread, sock_rx_thread,
                            connects ? 1 : 0) != 0) {
        throw std::runtime_error("no client of the broker can be made");
    }
    cfg.addr.sin_port = htons(port);
}

LibraryClient::~LibraryClient() {
    for (const pthread_t thread : {context_.tx_thread, context_.rx_thread}) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
    close(context_.sock_fd);
    pthread_mutex_destroy(&context_.tx_lock);
    pthread_mutex_destroy(&context_.rx_lock);
    while (context_.tx_queue != nullptr) {
        deque_tool_request(&context_, context_.tx_queue->transac_id);
    }
    while (context_.rx_queue != nullptr) {
        deque_tool_response(&context_, context_.rx_queue->transac_id);
    }
    reset_sm(&context_, nullptr);
}

uint32_t LibraryClient::read(const std::string &device, uint32_t address, std::span<uint8_t> bytes,
                             uint8_t indication) {
    return access(DIAG_REQ_READ, device, address, bytes, indication);
}

uint32_t LibraryClient::write(const std::string &device, uint32_t address, std::span<uint8_t> bytes,
                              uint8_t indication) {
    return access(DIAG_REQ_WRITE, device, address, bytes, indication);
}

uint32_t LibraryClient::reserve(const std::string &device) {
    update_bus_dev_acces_req_fields(&request_, 0, 0, 0, DIAG_HOLD_BY_ASSET, 0, device.c_str());
    request_.resp_expect = DIAG_EXPECT_SUCCESS;
    return send(DIAG_REQ_BUS_DEV_ACCESS, device, DIAG_TRANSAC_LAST);
}

uint32_t LibraryClient::access(uint32_t type, const std::string &device, uint32_t address,
                               std::span<uint8_t> bytes, uint8_t indication) {
    update_busbroker_req_fields(&request_, address, static_cast<uint16_t>(bytes.size()), 8,
                                bytes.data(), DIAG_EXPECT_SUCCESS, type, DIAG_REQ_FLAGS_DEFAULT,
                                nullptr, 0);
    return send(type, device, indication);
}

uint32_t LibraryClient::send(uint32_t type, const std::string &device, uint8_t indication) {
    const uint32_t status =
        request_busbroker(&request_, &context_, device.c_str(), "test", 0, type, indication);
    std::free(request_.actual_data);
    request_.actual_data = nullptr;
    return status;
}

}  // namespace diag::test
