// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/captured_output.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

std::string read_all(int memory) {
    std::string text;
    std::array<char, 4096> piece;
    ssize_t size = 0;
    while ((size = pread(memory, piece.data(), piece.size(), static_cast<off_t>(text.size()))) >
           0) {
        text.append(piece.data(), static_cast<size_t>(size));
    }
    return text;
}

void close_if_open(int *descriptor) {
    if (const int open = std::exchange(*descriptor, -1); open >= 0) {
        close(open);
    }
}

}  // namespace

CapturedOutput::CapturedOutput() {
    std::fflush(nullptr);
    for (Stream &stream : streams_) {
        if (!redirect(&stream)) {
            const int error = errno;
            restore();
            throw StartError(kExitAccessFailed, "output cannot be led elsewhere: " +
                                                    std::generic_category().message(error));
        }
    }
}

CapturedOutput::~CapturedOutput() {
    restore();
}

CapturedOutput::Text CapturedOutput::finish() {
    std::fflush(nullptr);
    Text text = {read_all(streams_[0].memory), read_all(streams_[1].memory)};
    restore();
    return text;
}

bool CapturedOutput::redirect(Stream *stream) {
    stream->memory = memfd_create("messages", MFD_CLOEXEC);
    stream->saved = fcntl(stream->descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return stream->memory >= 0 && stream->saved >= 0 &&
           dup2(stream->memory, stream->descriptor) >= 0;
}

void CapturedOutput::restore() {
    std::fflush(nullptr);
    for (Stream &stream : streams_) {
        if (stream.saved >= 0) {
            dup2(stream.saved, stream.descriptor);
        }
        close_if_open(&stream.saved);
        close_if_open(&stream.memory);
    }
}

}  // namespace diag::daemon
