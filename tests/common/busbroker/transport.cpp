// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/transport.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/process_state.h"

namespace diag::test {

namespace {

constexpr int kPatienceMilliseconds = 10'000;
constexpr size_t kLargest = 65536;

sockaddr *generic(sockaddr_in &address) {
    return reinterpret_cast<sockaddr *>(&address);
}

char *copy_of(const std::string &text) {
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

template <typename Entry>
std::vector<uint32_t> numbers_in(const Entry *head) {
    std::vector<uint32_t> numbers;
    for (const Entry *entry = head; entry != nullptr; entry = entry->next) {
        numbers.push_back(entry->transac_id);
    }
    return numbers;
}

void end_thread(pthread_t thread, bool &runs) {
    if (runs) {
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
        runs = false;
    }
}

}  // namespace

bool eventually(const std::function<bool()> &condition) {
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(kPatienceMilliseconds);
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            ADD_FAILURE() << "waited in vain";
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

DaemonEnd::DaemonEnd() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    if (fd_ == -1 || bind(fd_, generic(address_), size) != 0 ||
        getsockname(fd_, generic(address_), &size) != 0) {
        throw std::runtime_error("no port of loopback to be had");
    }
}

DaemonEnd::~DaemonEnd() {
    close(fd_);
}

std::string DaemonEnd::receive() {
    pollfd readable{fd_, POLLIN, 0};
    if (poll(&readable, 1, kPatienceMilliseconds) != 1) {
        ADD_FAILURE() << "no frame has come";
        return "";
    }
    std::string frame(kLargest, '\0');
    socklen_t size = sizeof client_;
    const ssize_t length = recvfrom(fd_, frame.data(), frame.size(), 0, generic(client_), &size);
    frame.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return frame;
}

size_t DaemonEnd::pending() {
    size_t count = 0;
    char byte = 0;
    while (recv(fd_, &byte, 1, MSG_DONTWAIT) >= 0) {
        count++;
    }
    return count;
}

void DaemonEnd::send(const std::string &datagram) {
    const ssize_t sent =
        sendto(fd_, datagram.data(), datagram.size(), 0, generic(client_), sizeof client_);
    EXPECT_EQ(sent, static_cast<ssize_t>(datagram.size()));
}

TransportClient::TransportClient() : info_(new tool_info{}) {
    info_->tool_id = 3;
    info_->inst_id = 1;
    info_->sock_fd = -1;
    info_->rx_stateinfo = &busbroker_rx_stateinfo;
    info_->rx_sm = busbroker_rx_state_machine;
    info_->req_done = busbroker_parse_update_queues;
    pthread_mutex_init(&info_->tx_lock, nullptr);
    pthread_mutex_init(&info_->rx_lock, nullptr);
}

TransportClient::TransportClient(const DaemonEnd &daemon) : TransportClient() {
    info_->sock_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(info_->sock_fd, generic(own), sizeof own) != 0) {
        throw std::runtime_error("no port of loopback to be had");
    }
    info_->sock_cfg.addr = daemon.address();
}

TransportClient::~TransportClient() {
    stop();
    while (info_->tx_queue != nullptr) {
        deque_tool_request(info_.get(), info_->tx_queue->transac_id);
    }
    while (info_->rx_queue != nullptr) {
        deque_tool_response(info_.get(), info_->rx_queue->transac_id);
    }
    reset_sm(info_.get(), nullptr);
    if (info_->sock_fd >= 0) {
        close(info_->sock_fd);
    }
    pthread_mutex_destroy(&info_->tx_lock);
    pthread_mutex_destroy(&info_->rx_lock);
}

void TransportClient::start_transmitting() {
    ASSERT_EQ(pthread_create(&info_->tx_thread, nullptr, sock_tx_thread, info_.get()), 0);
    transmits_ = true;
    tick();  // it is at work now
}

void TransportClient::start_receiving() {
    ASSERT_EQ(pthread_create(&info_->rx_thread, nullptr, sock_rx_thread, info_.get()), 0);
    receives_ = true;
}

void TransportClient::start() {
    start_transmitting();
    start_receiving();
}

void TransportClient::stop() {
    end_thread(info_->tx_thread, transmits_);
    end_thread(info_->rx_thread, receives_);
}

// The flag is cleared, and what follows from it done, under the lock.
void TransportClient::tick() {
    timeout_update(info_.get());
    eventually([this] {
        pthread_mutex_lock(&info_->tx_lock);
        const bool is_done = __atomic_load_n(&info_->tick_flag, __ATOMIC_ACQUIRE) == 0;
        pthread_mutex_unlock(&info_->tx_lock);
        return is_done;
    });
}

void TransportClient::ticks(int count) {
    for (int i = 0; i < count; i++) {
        tick();
    }
}

uint32_t TransportClient::queue(const std::string &frame, uint32_t transac_id, uint32_t retry_ms,
                                uint8_t resp_expect) {
    return queue_tx_buf(info_.get(), copy_of(frame), static_cast<uint32_t>(frame.size()), retry_ms,
                        resp_expect, transac_id);
}

uint32_t TransportClient::note(uint8_t flags, uint32_t transac_id, const Bytes &bytes) {
    uint8_t *copy = nullptr;
    if (!bytes.empty()) {
        copy = static_cast<uint8_t *>(std::malloc(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), copy);
    }
    return enqueue_rx_queues(info_.get(), flags, transac_id, copy,
                             static_cast<uint32_t>(bytes.size()));
}

void TransportClient::drop_first_request() {
    pthread_mutex_lock(&info_->tx_lock);
    ASSERT_NE(info_->tx_queue, nullptr);
    deque_tool_request(info_.get(), info_->tx_queue->transac_id);
    pthread_mutex_unlock(&info_->tx_lock);
}

std::vector<uint32_t> TransportClient::requests() {
    pthread_mutex_lock(&info_->tx_lock);
    auto numbers = numbers_in(info_->tx_queue);
    pthread_mutex_unlock(&info_->tx_lock);
    return numbers;
}

std::vector<uint32_t> TransportClient::outcomes() {
    pthread_mutex_lock(&info_->rx_lock);
    auto numbers = numbers_in(info_->rx_queue);
    pthread_mutex_unlock(&info_->rx_lock);
    return numbers;
}

WaitingCall::WaitingCall(TransportClient &client, uint32_t transac_id,
                         std::function<uint32_t()> call)
    : client_(client), transac_id_(transac_id) {
    thread_ = std::thread([this, call = std::move(call)] {
        thread_id_ = gettid();
        status_ = call();
        done_ = true;
    });
}

WaitingCall::~WaitingCall() {
    while (thread_.joinable() && !done_) {
        client_.note(DIAG_RESP_REFUSED, transac_id_);
        std::this_thread::yield();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

uint32_t WaitingCall::status() {
    eventually([this] { return is_done(); });
    if (!done_) {
        return UINT32_MAX;
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    return status_;
}

bool WaitingCall::falls_asleep() const {
    return eventually([this] { return thread_id_ != 0; }) && test::falls_asleep(thread_id_);
}

ReadRecord::ReadRecord(uint16_t count) : bytes(count + size_t{16}, 0x77) {
    retry_ms = 100;
    update_busbroker_req_fields(this, 0x62, count, 8, bytes.data(), DIAG_EXPECT_SUCCESS,
                                DIAG_REQ_READ, DIAG_REQ_FLAGS_DEFAULT, nullptr, 0);
}

std::unique_ptr<WaitingCall> ReadRecord::start(TransportClient &client) {
    drop_texts();
    return std::make_unique<WaitingCall>(client, transac_id, [this, &client] {
        return request_busbroker(this, &client.info(), "mbox0", "lpc", 0, DIAG_REQ_READ,
                                 DIAG_TRANSAC_LAST);
    });
}

std::string read_answer(uint32_t transac_id, const std::string &tail) {
    Answer answer;
    answer.transac_id = transac_id;
    answer.req_type = DIAG_REQ_READ;
    answer.data = "00000062,0004,08,1c," + tail;
    answer.support = "";
    return answer.frame();
}

}  // namespace diag::test
