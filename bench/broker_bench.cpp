// SPDX-License-Identifier: MIT
// The bus broker: what an answered request costs beside a bare exchange of datagrams, what the
// parts of it cost, what it costs to be there and do nothing, and how much the daemon can do.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "timer_epoll.h"

#include "bench/broker_client.h"
#include "bench/broker_daemon.h"
#include "bench/echo.h"
#include "bench/ratios.h"

namespace {

using Clock = std::chrono::steady_clock;
using diag::bench::print_ratio;

constexpr char kDevice[] = "i2c:1:31";  // a CPLD of the example board, by its place
constexpr int kRounds = 20;
constexpr int kOfEachInARound = 1000;
constexpr auto kIdleTime = std::chrono::seconds(3);

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The time of each of a round's calls.
template <typename Call>
void time_calls(std::vector<double> &times, Call call) {
    for (int i = 0; i < kOfEachInARound; i++) {
        const Clock::time_point start = Clock::now();
        call();
        times.push_back(seconds_since(start));
    }
}

double percentile(std::vector<double> &times, double share) {
    std::sort(times.begin(), times.end());
    return times[static_cast<size_t>(share * static_cast<double>(times.size() - 1))];
}

void compare_round_trips(const sockaddr_in &echo_server, uint16_t port) {
    diag::bench::EchoClient echo(echo_server);
    auto *client = new diag::bench::BrokerClient(port, 1);  // its threads stay
    std::vector<double> echoes;
    std::vector<double> requests;
    for (int round = 0; round < kRounds; round++) {
        time_calls(echoes, [&] { echo.exchange(); });
        time_calls(requests, [&] { client->read(kDevice, 0); });
    }
    std::printf("echo: median %.1f us, 99th percentile %.1f us; request: %.1f us, %.1f us\n",
                percentile(echoes, 0.5) * 1e6, percentile(echoes, 0.99) * 1e6,
                percentile(requests, 0.5) * 1e6, percentile(requests, 0.99) * 1e6);
    print_ratio("answered request / bare UDP echo, median",
                percentile(requests, 0.5) / percentile(echoes, 0.5), 2, true);
    print_ratio("answered request / bare UDP echo, 99th percentile",
                percentile(requests, 0.99) / percentile(echoes, 0.99), 2, true);
}

// Nanoseconds of one call, over many.
template <typename Call>
double nanoseconds_of(Call call) {
    constexpr int kCalls = 500'000;
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < kCalls; i++) {
        call();
    }
    return seconds_since(start) / kCalls * 1e9;
}

void measure_framing() {
    busbroker_req request{};
    request.access_count = 1;
    std::string frame(256, '\0');
    const double nanoseconds = nanoseconds_of([&] {
        update_request(&request, "mbox0", "lpc", 0, DIAG_REQ_READ, DIAG_TRANSAC_LAST);
        frame_ascii_request(&request, frame.data(),
                            static_cast<int>(calculate_req_len_in_ascii(&request)) + 1);
        std::free(request.actual_data);
    });
    std::printf("update_request and framing of a read: %.0f ns\n", nanoseconds);
    print_ratio("the same / one microsecond", nanoseconds / 1000, 1, true);
}

// An answer to a read of one byte, as the daemon sends it.
std::string answer_frame() {
    char data[] = "00000062,0001,08,1c,Success,0001,5a";
    busbroker_req record{};
    record.dev_id = record.dev_name = const_cast<char *>("lpc");
    record.dev_id_len = record.dev_name_len = 3;
    record.req_type = DIAG_REQ_READ;
    record.actual_data = data;
    record.actual_datalen = sizeof data - 1;
    record.crc = calculate_crc(&record);
    std::string frame(calculate_req_len_in_ascii(&record) + 1, '\0');
    frame.resize(frame_ascii_request(&record, frame.data(), static_cast<int>(frame.size())));
    frame[1] = frame[frame.size() - 2] = 'P';
    return frame;
}

void measure_receive_machine() {
    static unsigned records = 0;
    const std::string frame = answer_frame();
    const auto machine = std::make_unique<tool_info>();
    *machine = {};
    machine->rx_stateinfo = &busbroker_rx_stateinfo;
    machine->req_done = [](tool_info *, void *, busbroker_req *) -> uint32_t {
        records++;
        return 0;
    };
    frame.copy(machine->rx_buf, frame.size());
    machine->rx_len = static_cast<uint32_t>(frame.size());
    const double nanoseconds =
        nanoseconds_of([&] { busbroker_rx_state_machine(machine.get(), nullptr); });
    if (records == 0) {
        throw std::runtime_error("the receive machine finds no frames");
    }
    std::printf("receive machine: %.0f frames a second\n", 1e9 / nanoseconds);
    print_ratio("the same / 400,000 frames a second", 1e9 / nanoseconds / 400'000, 1, false);
}

// With a client connected to it that has nothing to do either.
void measure_idleness(const diag::bench::BrokerDaemon &daemon) {
    const double idle_seconds = std::chrono::duration<double>(kIdleTime).count();
    const double daemon_before = daemon.processor_seconds();
    const std::clock_t own_before = std::clock();
    const Clock::time_point end = Clock::now() + kIdleTime;
    while (Clock::now() < end) {
        std::this_thread::sleep_until(end);  // the timer's signal ends sleeps
    }
    const double own = static_cast<double>(std::clock() - own_before) / CLOCKS_PER_SEC;
    print_ratio("idle client, per cent of a core", own / idle_seconds * 100, 0.5, true);
    print_ratio("idle daemon, per cent of a core",
                (daemon.processor_seconds() - daemon_before) / idle_seconds * 100, 0, true);
}

// Calls a second when each of eight threads makes its calls as fast as it can.
template <typename MakeCaller>
double throughput(MakeCaller make_caller) {
    constexpr int kThreads = 8;
    constexpr int kCallsOfEach = 5000;
    std::vector<std::thread> threads;
    const Clock::time_point start = Clock::now();
    for (uint32_t i = 0; i < kThreads; i++) {
        threads.emplace_back([call = make_caller(i)]() mutable {
            for (int n = 0; n < kCallsOfEach; n++) {
                call();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    return kThreads * kCallsOfEach / seconds_since(start);
}

void measure_throughput(const sockaddr_in &echo_server, uint16_t port) {
    const double echoes = throughput([&](uint32_t /*number*/) {
        return [client = std::make_shared<diag::bench::EchoClient>(echo_server)] {
            client->exchange();
        };
    });
    const double requests = throughput([port](uint32_t number) {
        return [client = new diag::bench::BrokerClient(port, 100 + number)] {
            client->read(kDevice, 0);
        };
    });
    std::printf("8 clients at once: %.0f requests a second; bare echo: %.0f exchanges a second\n",
                requests, echoes);
}

}  // namespace

int main() {
    try {
        const diag::bench::BrokerDaemon daemon;
        const sockaddr_in echo_server = diag::bench::start_echo_server();
        timer_t timer = nullptr;
        if (init_timer(DIAG_TIMER_TICK, &timer, DIAG_TIMER_100_MS) != 0) {
            return 1;
        }
        compare_round_trips(echo_server, daemon.port());
        measure_framing();
        measure_receive_machine();
        measure_idleness(daemon);
        measure_throughput(echo_server, daemon.port());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "broker_bench: %s\n", error.what());
        return 1;
    }
    std::fflush(stdout);
    std::_Exit(0);  // threads of clients and echo still wait
}
