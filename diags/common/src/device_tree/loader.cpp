// SPDX-License-Identifier: MIT
// Loading a whole description file.
#include <cerrno>
#include <cstdlib>
#include <libxml/parser.h>
#include <memory>

#include "device_tree.h"
#include "diag_util.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kFunction[] = "load_device_tree";

struct FreeDocument {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

// What a description fills in for the caller.
struct Load {
    device_tree *head;
    device_tree *last;  // where the search for the end of the list starts
    uint8_t *busbroker_supported;
    socket_cfg *socket;
    uint8_t *opticstool_present;  // may be null
};

uint32_t read_system(Load &load, xmlNode &element) {
    if (load.socket == nullptr) {
        DIAG_ERROR_IN(kFunction, "Rx NULL pointer for socket config\n");
        return DIAG_E_INVAL;
    }
    if (parse_socket_cfg(&element, load.socket, 1, nullptr) != 0) {
        DIAG_ERROR_IN(kFunction, "Socket config parsing error\n");
        return DIAG_E_INVAL;
    }
    return 0;
}

// Null, after a message, when the element holds no text.
const char *required_text(const xmlNode &element) {
    const char *text = xml_first_text(element);
    if (text == nullptr) {
        DIAG_ERROR_IN(kFunction, "Invalid Element Structure\n");
    }
    return text;
}

uint8_t is_one(const char *text) {
    return std::strtol(text, nullptr, 10) == 1 ? 1 : 0;
}

uint32_t read_busbroker_support(Load &load, xmlNode &element) {
    const char *text = required_text(element);
    if (text == nullptr) {
        return DIAG_E_INVAL;
    }
    *load.busbroker_supported = is_one(text);
    return 0;
}

uint32_t read_opticstool_present(Load &load, xmlNode &element) {
    const char *text = required_text(element);
    if (text == nullptr) {
        return DIAG_E_INVAL;
    }
    if (load.opticstool_present == nullptr) {
        DIAG_ERROR_IN(kFunction, "Rx NULL pointer as opticstool support flag\n");
        return DIAG_E_INVAL;
    }
    *load.opticstool_present = is_one(text);
    return 0;
}

uint32_t read_chip(Load &load, xmlNode &element) {
    const device_node *node = load.head != nullptr
                                  ? read_chip_xml(load.head, &load.last, &element)
                                  : parse_device_config(nullptr, nullptr, 1, &element, 0);
    return node != nullptr ? 0 : DIAG_E_INVAL;
}

struct RootElement {
    const char *name;
    uint32_t (*read)(Load &load, xmlNode &element);
};

constexpr RootElement kRootElements[] = {
    {"system", read_system},
    {"busbroker-support", read_busbroker_support},
    {"opticstool-present", read_opticstool_present},
    {"chip", read_chip},
};

uint32_t read_root_child(Load &load, xmlNode &element) {
    for (const RootElement &known : kRootElements) {
        if (xml_name_is(element, known.name)) {
            return known.read(load, element);
        }
    }
    return 0;
}

uint32_t read_document(Load &load, xmlDoc *document) {
    xmlNode *root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        diag_print(0, "Empty XML Tree\n");
        return DIAG_E_INVAL;
    }
    if (!xml_name_is(*root, "config")) {
        DIAG_ERROR_IN(kFunction, "Invalid xml config file (%s)\n", xml_name(*root));
        return DIAG_E_INVAL;
    }
    for (xmlNode &child : XmlElements(root->children)) {
        if (const uint32_t status = read_root_child(load, child); status != 0) {
            return status;
        }
    }
    return 0;
}

uint32_t load_xml(const char *path, Load &load, xmlDoc **doc_out) {
    errno = 0;  // an old error must not be taken for this file's
    Document document(xmlReadFile(path, nullptr, 0));
    const int error = errno;
    if (doc_out != nullptr) {
        *doc_out = document.get();
    }
    if (document == nullptr) {
        return DIAG_E_FAIL | (static_cast<uint32_t>(error) & 0xFFFF);
    }
    const uint32_t status = read_document(load, document.get());
    if (doc_out != nullptr) {
        static_cast<void>(document.release());  // the caller's, also after a failure
    }
    return status;
}

}  // namespace

}  // namespace diag

uint32_t load_device_tree(const char *path, device_tree *tree, int is_xml, xmlDoc **doc_out,
                          uint8_t *busbroker_supported, socket_cfg *cfg,
                          uint8_t *opticstool_present) {
    diag_print(1, "Loading device file \n");
    if (busbroker_supported == nullptr) {
        DIAG_ERROR("&busbroker_supported needs to be passed to this function\n");
        return DIAG_E_INVAL;
    }
    *busbroker_supported = 0;
    if (opticstool_present != nullptr) {
        *opticstool_present = 1;
    }
    // The file's own lines attach to its own registers, not to those of a tree that may be gone.
    diag::cursors = {};
    if ((is_xml & 0xFF) == 0) {
        DIAG_ERROR("The text form of a description cannot be read\n");
        return DIAG_E_INVAL;
    }
    diag::Load load{tree, tree, busbroker_supported, cfg, opticstool_present};
    return diag::load_xml(path, load, doc_out);
}
