// SPDX-License-Identifier: MIT
// What the XML parser has to say about a description.
#ifndef DIAGS_DESCRIPTION_XML_COMPLAINT_H
#define DIAGS_DESCRIPTION_XML_COMPLAINT_H

#include <string>

namespace diag::description {

// While it lives, keeps the first complaint of the XML parser in this thread, which would otherwise
// go to standard error as several lines. One at a time.
class XmlComplaint {
  public:
    XmlComplaint();
    ~XmlComplaint();
    XmlComplaint(const XmlComplaint &) = delete;
    XmlComplaint &operator=(const XmlComplaint &) = delete;

    // "LINE: message", empty without a complaint.
    const std::string &text() const { return text_; }

  private:
    std::string text_;
};

}  // namespace diag::description

#endif
