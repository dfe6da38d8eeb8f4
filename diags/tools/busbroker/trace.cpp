// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/trace.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace diag::daemon {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::duration_cast;
using std::chrono::microseconds;

constexpr size_t kShownBytes = 32;

std::string time_text(std::chrono::system_clock::time_point time) {
    const int64_t since = duration_cast<microseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = since / 1'000'000;
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    return fmt::format("{}.{:06}Z", text, since % 1'000'000);
}

std::string hex_text(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes.first(std::min(bytes.size(), kShownBytes))) {
        text += fmt::format("{:02x}", byte);
    }
    return text;
}

void add_access(const TraceEntry &entry, Json *line) {
    const Access &access = *entry.access;
    (*line)["address"] = access.address;
    (*line)["count"] = access.count;
    (*line)["width"] = access.width;
    (*line)["flags"] = access.flags;
    (*line)["support"] = access.options;
}

}  // namespace

std::string trace_line(const TraceEntry &entry, std::chrono::system_clock::time_point time,
                       uint64_t dropped) {
    Json line;
    line["time"] = time_text(time);
    line["client"] = entry.client.endpoint.text();
    line["tool"] = entry.client.tool;
    line["instance"] = entry.client.instance;
    line["transaction"] = entry.head.transaction;
    line["type"] = entry.head.type;
    line["indication"] = entry.head.indication;
    line["priority"] = entry.head.priority;
    line["device_id"] = entry.head.device_id.view();
    line["device_name"] = entry.head.device_name.view();
    if (entry.access != nullptr) {
        add_access(entry, &line);
    }
    line["status"] = broker::outcome_text(entry.outcome);
    line["waited_us"] = duration_cast<microseconds>(entry.waited).count();
    line["served_us"] = duration_cast<microseconds>(entry.served).count();
    if (entry.access != nullptr) {
        line["bytes"] = hex_text(entry.access->is_write ? entry.access->data : entry.bytes);
    }
    line["repeated"] = entry.is_repeated;
    if (dropped != 0) {
        line["dropped"] = dropped;
    }
    return line.dump();
}

// O_NONBLOCK belongs to the open file, which a shell or a service manager may share: pipes and
// terminals are opened once more for it. A regular file never waits, and its position is shared.
LineOutput::LineOutput(int descriptor) : descriptor_(descriptor) {
    struct stat info = {};
    const mode_t mode = fstat(descriptor, &info) == 0 ? info.st_mode : S_IFREG;
    is_socket_ = S_ISSOCK(mode);
    if (S_ISFIFO(mode) || S_ISCHR(mode)) {
        const std::string path = fmt::format("/proc/self/fd/{}", descriptor);
        reopened_ = open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
    may_wait_ = !is_socket_ && !S_ISREG(mode) && reopened_ < 0;
}

LineOutput::~LineOutput() {
    if (reopened_ >= 0) {
        close(reopened_);
    }
}

bool LineOutput::put(const std::string &line) {
    if (!send_rest()) {
        return false;
    }
    rest_ = line + "\n";
    const size_t size = rest_.size();
    send_rest();
    if (rest_.size() == size) {
        rest_.clear();
        return false;
    }
    return true;
}

// True when nothing is left.
bool LineOutput::send_rest() {
    while (!rest_.empty()) {
        const ssize_t written = write_some();
        if (written <= 0) {
            return false;
        }
        rest_.erase(0, static_cast<size_t>(written));
    }
    return true;
}

ssize_t LineOutput::write_some() const {
    if (is_socket_) {
        return send(descriptor_, rest_.data(), rest_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (reopened_ >= 0) {
        return write(reopened_, rest_.data(), rest_.size());
    }
    // Where it cannot be opened once more, a pipe that is ready has room for so much.
    pollfd event = {descriptor_, POLLOUT, 0};
    if (may_wait_ && (poll(&event, 1, 0) != 1 || (event.revents & POLLOUT) == 0)) {
        return -1;
    }
    return write(descriptor_, rest_.data(), std::min<size_t>(rest_.size(), PIPE_BUF));
}

void StreamTrace::record(const TraceEntry &entry) {
    const bool is_out = output_.put(trace_line(entry, std::chrono::system_clock::now(), dropped_));
    dropped_ = is_out ? 0 : dropped_ + 1;
}

}  // namespace diag::daemon
