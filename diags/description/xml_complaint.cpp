// SPDX-License-Identifier: MIT
#include "diags/description/xml_complaint.h"

#include <libxml/xmlerror.h>

namespace diag::description {
namespace {

void take(void *kept, xmlErrorPtr error) {
    std::string &text = *static_cast<std::string *>(kept);
    if (!text.empty() || error == nullptr || error->message == nullptr) {
        return;
    }
    text = std::to_string(error->line) + ": " + error->message;
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
}

}  // namespace

XmlComplaint::XmlComplaint() {
    xmlSetStructuredErrorFunc(&text_, take);
}

XmlComplaint::~XmlComplaint() {
    xmlSetStructuredErrorFunc(nullptr, nullptr);
}

}  // namespace diag::description
