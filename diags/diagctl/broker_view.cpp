// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_view.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>

#include "diags/diagctl/broker_failure.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// A member as text; what is not there is a dash.
std::string member(const Json &object, const char *name) {
    const auto found = object.find(name);
    if (found == object.end()) {
        return "-";
    }
    return one_line(found->is_string() ? found->get<std::string>() : found->dump());
}

const Json &list_of(const Json &object, const char *name) {
    static const Json kNothing = Json::array();
    const auto found = object.find(name);
    return found != object.end() && found->is_array() ? *found : kNothing;
}

std::string tool_of(const Json &client) {
    const auto found = client.find("tool");
    return found != client.end() && found->is_number_unsigned()
               ? broker_tool_name(found->get<std::uint32_t>())
               : "-";
}

std::string clients_text(const Json &status) {
    TextTable table;
    table.add_row({"CLIENT", "TOOL", "INSTANCE", "REQUESTS", "REPEATED", "WAITING"});
    for (const Json &client : list_of(status, "clients")) {
        table.add_row({member(client, "address"), tool_of(client), member(client, "instance"),
                       member(client, "requests"), member(client, "repeated"),
                       member(client, "waiting")});
        for (const Json &hold : list_of(client, "holds")) {
            table.add_line(fmt::format("  holds {} ({}, {} ms left)", member(hold, "footprint"),
                                       member(hold, "kind"), member(hold, "ends_in_ms")));
        }
    }
    return table.str();
}

std::string queue_text(const Json &status) {
    const Json &queue = list_of(status, "queue");
    if (queue.empty()) {
        return "no request waits\n";
    }
    TextTable table;
    table.add_row({"WAITING FOR", "CLIENT", "PRIORITY", "TYPE", "WAITED MS"});
    for (const Json &request : queue) {
        table.add_row({member(request, "device"), member(request, "client"),
                       member(request, "priority"), member(request, "type"),
                       member(request, "waited_ms")});
    }
    return table.str();
}

// "received 12, answered 12", and a group of counts by reason on a line of its own.
std::string counts_text(const Json &status) {
    const auto counts = status.find("counts");
    if (counts == status.end() || !counts->is_object()) {
        return {};
    }
    std::vector<std::string> numbers;
    std::string groups;
    for (const auto &[name, value] : counts->items()) {
        if (!value.is_object()) {
            numbers.push_back(fmt::format("{} {}", one_line(name), value.dump()));
            continue;
        }
        for (const auto &[reason, count] : value.items()) {
            groups += fmt::format("{}: {}: {}\n", one_line(name), one_line(reason), count.dump());
        }
    }
    return join(numbers, ", ") + "\n" + groups;
}

}  // namespace

std::string ping_text(const std::string &address, std::span<const std::chrono::nanoseconds> times) {
    std::string text;
    for (const auto time : times) {
        text += fmt::format("answer from {} after {:.3f} ms\n", address, milliseconds(time));
    }
    const auto [least, most] = std::minmax_element(times.begin(), times.end());
    const auto sum = std::accumulate(times.begin(), times.end(), std::chrono::nanoseconds(0));
    return text +
           fmt::format("{} of {} answered, least {:.3f} ms, mean {:.3f} ms, most {:.3f} ms\n",
                       times.size(), times.size(), milliseconds(*least),
                       milliseconds(sum) / static_cast<double>(times.size()), milliseconds(*most));
}

Json ping_json(std::span<const std::chrono::nanoseconds> times) {
    Json json = Json::array();
    for (const auto time : times) {
        json.push_back(std::chrono::duration<double, std::micro>(time).count());
    }
    return json;
}

std::string status_text(const std::string &address, const Json &status) {
    std::string text =
        fmt::format("busbroker {} at {}, process {}, up {} s\n", member(status, "version"), address,
                    member(status, "pid"), member(status, "uptime"));
    text += fmt::format("{}: {} devices, board {}\n", member(status, "description"),
                        member(status, "devices"), member(status, "board"));
    return text + clients_text(status) + queue_text(status) + counts_text(status);
}

}  // namespace diag::diagctl
