// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/trace.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

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

std::string trace_line(const TraceEntry &entry, std::chrono::system_clock::time_point time) {
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
    return line.dump();
}

void StreamTrace::record(const TraceEntry &entry) {
    const std::string line = trace_line(entry, std::chrono::system_clock::now()) + "\n";
    std::fwrite(line.data(), 1, line.size(), stream_);
    std::fflush(stream_);
}

}  // namespace diag::daemon
