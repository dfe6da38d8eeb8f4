// SPDX-License-Identifier: MIT
#include "diags/board/sim/description.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <libxml/xmlerror.h>
#include <string_view>

#include "diags/board/sim/board_error.h"
#include "diags/description/form.h"
#include "diags/description/free_device_tree.h"

namespace diag::board::sim {
namespace {

// Keeps the first complaint of the XML parser, which would otherwise go to standard error as
// several lines.
class XmlComplaint {
  public:
    XmlComplaint() { xmlSetStructuredErrorFunc(this, &XmlComplaint::take); }
    ~XmlComplaint() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    XmlComplaint(const XmlComplaint &) = delete;
    XmlComplaint &operator=(const XmlComplaint &) = delete;

    // "LINE: message", empty without a complaint.
    const std::string &text() const { return text_; }

  private:
    static void take(void *self, xmlErrorPtr error) {
        std::string &text = static_cast<XmlComplaint *>(self)->text_;
        if (!text.empty() || error == nullptr || error->message == nullptr) {
            return;
        }
        text = std::to_string(error->line) + ": " + error->message;
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
    }

    std::string text_;
};

bool is_xml(std::ifstream &file) {
    std::array<char, 512> start{};
    file.read(start.data(), start.size());
    const std::string_view text(start.data(), static_cast<size_t>(file.gcount()));
    return description::form_of(text) == description::Form::kXml;
}

}  // namespace

Description::Description(const std::string &path) {
    std::ifstream file(path);
    if (!file) {
        throw BoardError(kExitBadDescription, path + ": the board description cannot be read");
    }
    const XmlComplaint complaint;
    uint8_t broker = 0;
    uint8_t optics = 0;
    socket_cfg socket = {};
    const uint32_t status = load_device_tree(path.c_str(), &head_, is_xml(file) ? 1 : 0, nullptr,
                                             &broker, &socket, &optics);
    if (status == 0 && complaint.text().empty()) {
        return;
    }
    description::free_device_tree(head_);
    char code[32];
    std::snprintf(code, sizeof code, " (status 0x%08x)", status);
    throw BoardError(kExitBadDescription, complaint.text().empty()
                                              ? path + ": not a usable board description" + code
                                              : path + ":" + complaint.text());
}

Description::~Description() {
    description::free_device_tree(head_);
}

}  // namespace diag::board::sim
