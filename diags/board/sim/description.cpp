// SPDX-License-Identifier: MIT
#include "diags/board/sim/description.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <libxml/xmlerror.h>

#include "diags/board/sim/board_error.h"

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

// The two forms of a description are told apart by the first character that is not a blank.
bool is_xml(std::ifstream &file) {
    char first = 0;
    constexpr char kByteOrderMark = '\xEF';
    return file >> first && (first == '<' || first == kByteOrderMark);
}

template <typename Node>
void free_list(Node *node, void (*free_contents)(Node *)) {
    while (node != nullptr) {
        Node *next = node->next;
        free_contents(node);
        std::free(node);
        node = next;
    }
}

void free_info(bit_info *info) {
    std::free(info->desc);
}

void free_field(bit_def *field) {
    std::free(field->name);
    free_list(field->infos, &free_info);
}

void free_register(reg_list *item) {
    reg_def *reg = item->reg;
    if (reg == nullptr) {
        return;
    }
    free_list(reg->bits, &free_field);
    std::free(reg->name);
    std::free(reg->version);
    std::free(reg->test_desc);
    std::free(reg);
}

void free_mux(mux_entry *mux) {
    std::free(mux->bus);
}

// The registers in the lists of test roles are those of the chip's own list.
void free_nothing(reg_list * /*item*/) {}

void free_chip(device_node *node) {
    if (node == nullptr) {
        return;
    }
    for (reg_list *roles : {node->intr_setup_regs, node->intr_status_regs, node->test_regs_a,
                            node->test_regs_b, node->test_regs_c}) {
        free_list(roles, &free_nothing);
    }
    free_list(node->reg_list, &free_register);
    free_list(node->mux_list, &free_mux);
    std::free(node->dev_id);
    std::free(node->name);
    std::free(node->chip_id);
    std::free(node);
}

void free_element(device_tree *element) {
    free_chip(element->node);
}

void free_tree(device_tree *head) {
    free_element(head);
    free_list(head->next, &free_element);
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
    free_tree(&head_);
    char code[32];
    std::snprintf(code, sizeof code, " (status 0x%08x)", status);
    throw BoardError(kExitBadDescription, complaint.text().empty()
                                              ? path + ": not a usable board description" + code
                                              : path + ":" + complaint.text());
}

Description::~Description() {
    free_tree(&head_);
}

}  // namespace diag::board::sim
