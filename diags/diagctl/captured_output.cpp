// SPDX-License-Identifier: MIT
#include "diags/diagctl/captured_output.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"

namespace diag::diagctl {
namespace {

// One of the two descriptors: where it leads in truth, and the memory it leads into meanwhile.
// Atomic because the handler of a fatal signal looks at them.
struct Stream {
    int fd;
    std::atomic<int> original{-1};
    std::atomic<int> memory{-1};
};

Stream standard_output{STDOUT_FILENO};
Stream standard_error{STDERR_FILENO};

void close_and_forget(std::atomic<int> &fd) {
    if (const int number = fd.exchange(-1); number >= 0) {
        close(number);
    }
}

bool divert(Stream &stream) {
    stream.original = fcntl(stream.fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    stream.memory = memfd_create("captured", MFD_CLOEXEC);
    return stream.original >= 0 && stream.memory >= 0 && dup2(stream.memory, stream.fd) >= 0;
}

void lead_back(Stream &stream) {
    if (stream.original >= 0) {
        dup2(stream.original, stream.fd);
    }
    close_and_forget(stream.original);
}

std::string take_text(Stream &stream) {
    std::string text;
    std::array<char, 4096> chunk{};
    off_t position = 0;
    for (;;) {
        const ssize_t got = pread(stream.memory, chunk.data(), chunk.size(), position);
        if (got <= 0) {
            break;
        }
        text.append(chunk.data(), static_cast<std::size_t>(got));
        position += got;
    }
    close_and_forget(stream.memory);
    return text;
}

void relay(const Stream &from, int to) {
    char chunk[512];
    off_t position = 0;
    for (;;) {
        const ssize_t got = pread(from.memory, chunk, sizeof chunk, position);
        if (got <= 0 || write(to, chunk, static_cast<std::size_t>(got)) != got) {
            return;
        }
        position += got;
    }
}

}  // namespace

CapturedOutput::CapturedOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    if (!divert(standard_output) || !divert(standard_error)) {
        const int error = errno;
        restore();
        close_and_forget(standard_output.memory);
        close_and_forget(standard_error.memory);
        fail(kExitAccessFailed, "the output of the library cannot be captured: {}",
             std::strerror(error));
    }
}

CapturedOutput::~CapturedOutput() {
    if (is_active_) {
        finish();
    }
}

void CapturedOutput::restore() {
    std::fflush(stdout);
    std::fflush(stderr);
    lead_back(standard_output);
    lead_back(standard_error);
    is_active_ = false;
}

CapturedText CapturedOutput::finish() {
    restore();
    CapturedText text;
    text.library = take_text(standard_output);
    text.tools = take_text(standard_error);
    return text;
}

int real_standard_error() {
    const int original = standard_error.original;
    return original >= 0 ? original : STDERR_FILENO;
}

void relay_captured_output() {
    const int to = real_standard_error();
    if (to != STDERR_FILENO) {
        relay(standard_output, to);
        relay(standard_error, to);
    }
}

}  // namespace diag::diagctl
