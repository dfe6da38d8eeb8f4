// SPDX-License-Identifier: MIT
// The transmit thread's life.
#include <algorithm>
#include <array>

#include "diag_util.h"
#include "timer_epoll.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using TransmitThread = LibraryTest;

size_t registered_calls() {
    size_t count = 0;
    for (const time_out_call *call = time_out_calls_list.type1; call != nullptr;
         call = call->next) {
        count++;
    }
    return count;
}

TEST_F(TransmitThread, EndsWithoutAContext) {
    EXPECT_EQ(logged_by([] { EXPECT_EQ(sock_tx_thread(nullptr), nullptr); }),
              error_in("sock_tx_thread",
                       "Socket tx thread received a NULL ptr as tool info. Exiting thread \n"));
}

TEST_F(TransmitThread, RegistersForEachTickOnly) {
    DaemonEnd daemon;
    TransportClient client(daemon);
    const size_t before = registered_calls();
    const auto *slow = time_out_calls_list.type2;
    const auto *kept = time_out_calls_list.type0;
    EXPECT_EQ(text_logged_by([&] { client.start_transmitting(); }),
              "Registering for timeout calls\n");
    EXPECT_EQ(registered_calls(), before + 1);
    EXPECT_EQ(time_out_calls_list.type2, slow);
    EXPECT_EQ(time_out_calls_list.type0, kept);
    const time_out_call *last = time_out_calls_list.type1;
    while (last->next != nullptr) {
        last = last->next;
    }
    auto *const fn = __atomic_load_n(&last->fn, __ATOMIC_ACQUIRE);  // taken away at the end
    EXPECT_EQ(fn, reinterpret_cast<void (*)(void *)>(timeout_update));
    EXPECT_EQ(last->arg, &client.info());
}

// Or the tick would write into memory that is somebody else's by then.
TEST_F(TransmitThread, IsOutOfTheTicksReachOnceItHasBeenCancelled) {
    DaemonEnd daemon;
    for (int i = 0; i < 3; i++) {
        TransportClient client(daemon);
        client.start_transmitting();
        client.stop();
        client->tick_flag = 0;
        timeout_calls();
        EXPECT_EQ(client->tick_flag, 0);
    }
    timeout_calls();
}

TEST_F(TransmitThread, CanBeCancelledWithFramesQueuedAndStartedAgain) {
    DaemonEnd daemon;
    TransportClient client(daemon);
    for (int i = 0; i < 3; i++) {
        client.start_transmitting();
        client.queue("frame", 1, 100'000);
        client.stop();
        EXPECT_EQ(pthread_mutex_trylock(&client->tx_lock), 0) << "cancelled with the lock held";
        pthread_mutex_unlock(&client->tx_lock);
    }
    EXPECT_EQ(daemon.pending(), 1U);
}

TEST_F(TransmitThread, DoesNotRegisterTwiceForTwoClients) {
    DaemonEnd daemon;
    TransportClient first(daemon);
    TransportClient second(daemon);
    first.start_transmitting();
    second.start_transmitting();
    first.queue("of the first", 1);
    second.queue("of the second", 1);
    daemon.pending();
    timeout_calls();
    std::vector<std::string> frames = {daemon.receive(), daemon.receive()};
    std::sort(frames.begin(), frames.end());
    EXPECT_EQ(frames, (std::vector<std::string>{"of the first", "of the second"}));
    first.stop();
    timeout_calls();
    EXPECT_EQ(daemon.receive(), "of the second");
    EXPECT_EQ(daemon.pending(), 0U);
}

// Clients come and go in threads of their own, while ticks go on.
TEST_F(TransmitThread, ClientsMayStartAndStopAtTheSameTime) {
    DaemonEnd daemon;
    std::array<std::thread, 4> programs;
    for (std::thread &program : programs) {
        program = std::thread([&daemon] {
            for (int round = 0; round < 10; round++) {
                TransportClient client(daemon);
                client.start_transmitting();
                client.queue("frame", 1);
            }
        });
    }
    for (int i = 0; i < 50; i++) {
        timeout_calls();
    }
    for (std::thread &program : programs) {
        program.join();
    }
    EXPECT_GE(daemon.pending(), 40U);
}

}  // namespace
}  // namespace diag::test
