// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/description.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <string_view>
#include <system_error>

#include "diags/description/form.h"
#include "diags/description/free_device_tree.h"
#include "diags/description/shared_pipes.h"
#include "diags/description/xml_complaint.h"
#include "diags/tools/busbroker/captured_output.h"
#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

description::Form form_of_file(const std::string &path) {
    std::array<char, 512> start = {};
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file || file.peek() == std::ifstream::traits_type::eof()) {
        const int error = errno;
        throw StartError(
            kExitBadDescription,
            path + ": " +
                (error != 0 ? std::generic_category().message(error) : "the file is empty"));
    }
    file.read(start.data(), start.size());
    return description::form_of({start.data(), static_cast<size_t>(file.gcount())});
}

std::string first_line(std::string_view text) {
    return std::string(text.substr(0, text.find('\n')));
}

// What a tool said that the loading has run, else the library's last error, without function and
// line in front.
std::string reason(const CapturedOutput::Text &messages, uint32_t status) {
    constexpr std::string_view kMark = "ERROR: ";
    if (!messages.errors.empty()) {
        return first_line(messages.errors);
    }
    const size_t mark = messages.output.rfind(kMark);
    if (mark != std::string::npos) {
        return first_line(std::string_view(messages.output).substr(mark + kMark.size()));
    }
    return fmt::format("status 0x{:08x}", status);
}

}  // namespace

Description::Description(const std::string &path) {
    const bool is_xml = form_of_file(path) == description::Form::kXml;
    socket_cfg socket = {};
    uint8_t has_broker = 0;
    uint8_t has_optics = 0;
    uint32_t status = 0;
    const description::XmlComplaint complaint;
    CapturedOutput::Text messages;
    {
        const description::SharedPipesTurn turn;
        CapturedOutput capture;
        status = load_device_tree(path.c_str(), &tree_, is_xml ? 1 : 0, nullptr, &has_broker,
                                  &socket, &has_optics);
        messages = capture.finish();
    }
    if (status == 0 && complaint.text().empty()) {
        take_address(path, socket);
        return;
    }
    description::free_device_tree(tree_);
    if (!complaint.text().empty()) {
        throw StartError(kExitBadDescription, path + ":" + complaint.text());
    }
    throw StartError(kExitBadDescription,
                     path + ": not a usable board description: " + reason(messages, status));
}

Description::~Description() {
    description::free_device_tree(tree_);
}

void Description::take_address(const std::string &path, const socket_cfg &socket) {
    const std::string_view host = socket.ip;
    if (host.empty() && socket.PortNo == 0) {
        return;
    }
    if (!broker::is_ipv4(host) || socket.PortNo == 0 || socket.is_udp == 0) {
        description::free_device_tree(tree_);
        throw StartError(kExitBadDescription,
                         path +
                             ": <system>: the broker needs an IPv4 address, a port and the "
                             "socket type udp");
    }
    address_ = broker::Address{std::string(host), socket.PortNo};
}

}  // namespace diag::daemon
