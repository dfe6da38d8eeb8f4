// SPDX-License-Identifier: MIT
#include "diags/broker/farewell.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>

namespace diag::broker {
namespace {

// Of a frame without texts and data, and its NUL.
constexpr size_t kFrameRoom = 64;

// Written before is_ready is set, and read by a handler once it is.
ClientPost post;
std::array<char, kFrameRoom> frame;
size_t frame_size = 0;
volatile sig_atomic_t is_ready = 0;

}  // namespace

Farewell::Farewell(Client &client) {
    post = client.post();
    const std::string text = client.give_up_frame();
    frame_size = std::min(text.size(), frame.size());
    std::copy_n(text.begin(), frame_size, frame.begin());
    is_ready = 1;
}

Farewell::~Farewell() {
    is_ready = 0;
}

void say_farewell() {
    if (is_ready != 0) {
        sendto(post.socket, frame.data(), frame_size, MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr *>(&post.daemon), sizeof post.daemon);
    }
}

}  // namespace diag::broker
