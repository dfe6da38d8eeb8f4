// SPDX-License-Identifier: MIT
// Characters and lines from the keyboard. Both calls read through stdio, so that what one of them
// has buffered is not lost to the other.
#include <algorithm>
#include <cerrno>
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

// Standard input without line editing and echo, answering at once when nothing is there; put back
// when it goes, in the order in which it was changed.
class KeyboardInput {
  public:
    KeyboardInput() : is_terminal_(tcgetattr(STDIN_FILENO, &saved_settings_) == 0) {
        if (is_terminal_) {
            termios raw = saved_settings_;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        }
        saved_flags_ = std::max(reported(fcntl(STDIN_FILENO, F_GETFL)), 0);
        reported(fcntl(STDIN_FILENO, F_SETFL, saved_flags_ | O_NONBLOCK));
    }
    ~KeyboardInput() {
        if (is_terminal_) {
            tcsetattr(STDIN_FILENO, TCSANOW, &saved_settings_);
        }
        reported(fcntl(STDIN_FILENO, F_SETFL, saved_flags_));
    }
    KeyboardInput(const KeyboardInput &) = delete;
    KeyboardInput &operator=(const KeyboardInput &) = delete;

  private:
    static int reported(int result) {
        if (result == -1) {
            DIAG_ERROR_IN(kWaitForKey, "fcntl error\n");
        }
        return result;
    }

    termios saved_settings_{};
    bool is_terminal_;
    int saved_flags_ = 0;
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

// The next character or EOF. A signal, such as that of the library's own timer, ends no input.
int read_character() {
    for (;;) {
        errno = 0;
        const int c = std::getchar();
        if (c != EOF || errno != EINTR) {
            return c;
        }
        std::clearerr(stdin);
    }
}

}  // namespace

int wait_key_pressed(long seconds) {
    const KeyboardInput input;
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
        const int c = read_character();
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
