// SPDX-License-Identifier: MIT
// Characters and lines from the keyboard. Both calls read through stdio, so that what one of them
// has buffered is not lost to the other.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "diag_util.h"

#include "diags/common/src/log.h"

namespace {

constexpr char kWaitForKey[] = "wait_key_pressed";
constexpr int kNoKey = -1;

// Standard input without line editing and echo; put back when it goes.
class RawTerminal {
  public:
    RawTerminal() : is_terminal_(tcgetattr(STDIN_FILENO, &saved_) == 0) {
        if (is_terminal_) {
            termios raw = saved_;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        }
    }
    ~RawTerminal() {
        if (is_terminal_) {
            tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
        }
    }
    RawTerminal(const RawTerminal &) = delete;
    RawTerminal &operator=(const RawTerminal &) = delete;

  private:
    termios saved_{};
    bool is_terminal_;
};

// Standard input that answers at once when nothing is there; put back when it goes.
class NonBlockingInput {
  public:
    NonBlockingInput() : saved_(reported(fcntl(STDIN_FILENO, F_GETFL))) {
        reported(fcntl(STDIN_FILENO, F_SETFL, std::max(saved_, 0) | O_NONBLOCK));
    }
    ~NonBlockingInput() { reported(fcntl(STDIN_FILENO, F_SETFL, std::max(saved_, 0))); }
    NonBlockingInput(const NonBlockingInput &) = delete;
    NonBlockingInput &operator=(const NonBlockingInput &) = delete;

  private:
    static int reported(int result) {
        if (result == -1) {
            DIAG_ERROR_IN(kWaitForKey, "fcntl error\n");
        }
        return result;
    }

    int saved_;
};

int try_character() {
    const int c = std::getchar();
    if (c == EOF) {
        std::clearerr(stdin);  // nothing yet is not the end
        return kNoKey;
    }
    return c;
}

time_t wall_seconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

// Sleeps until input may be there, at most 100 ms: the wall clock may be set meanwhile. Input that
// has ended is always "there", so it is slept through instead.
void wait_for_input(bool input_ended) {
    constexpr int kSliceMs = 100;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    poll(&input, input_ended ? 0 : 1, kSliceMs);
}

bool input_is_ready() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

}  // namespace

int wait_key_pressed(long seconds) {
    const RawTerminal terminal;
    const NonBlockingInput input;
    const time_t start = wall_seconds();
    for (;;) {
        const bool was_ready = input_is_ready();
        const int c = try_character();
        if (c != kNoKey || wall_seconds() - start >= seconds) {
            return c;
        }
        wait_for_input(was_ready);
    }
}

int get_user_input(char *buffer, unsigned int size) {
    constexpr int kEndByte = 0xFF;  // what reading past the end looks like as a byte
    unsigned int stored = 0;
    for (;;) {
        const int c = std::getchar();
        if (c == EOF || c == kEndByte) {
            if (stored == 0) {
                return -1;
            }
            break;
        }
        if (c == '\n') {
            break;
        }
        if (size > 0 && stored < size - 1) {
            buffer[stored++] = static_cast<char>(c);
        }
    }
    if (size > 0) {
        buffer[stored] = '\0';
    }
    return static_cast<int>(stored);
}
