// SPDX-License-Identifier: MIT
#include "diags/broker/farewell.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

namespace diag::broker {
namespace {

// Of a frame without texts and data, and its NUL.
constexpr size_t kFrameRoom = 64;

// Written before is_ready is set, and read by a handler, on whatever thread, once it is.
ClientPost post;
std::array<char, kFrameRoom> frame;
size_t frame_size = 0;
std::atomic<bool> is_ready = false;
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

Farewell::Farewell(Client &client) {
    post = client.post();
    const std::string text = client.give_up_frame();
    frame_size = std::min(text.size(), frame.size());
    std::copy_n(text.begin(), frame_size, frame.begin());
    is_ready.store(true, std::memory_order_release);
}

Farewell::~Farewell() {
    is_ready.store(false, std::memory_order_release);
}

void say_farewell() {
    if (is_ready.load(std::memory_order_acquire)) {
        sendto(post.socket, frame.data(), frame_size, MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr *>(&post.daemon), sizeof post.daemon);
    }
}

}  // namespace diag::broker
