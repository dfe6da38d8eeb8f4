// SPDX-License-Identifier: MIT
// Loading the XML form of a description.
#include <cerrno>
#include <cstdlib>
#include <libxml/parser.h>
#include <memory>

#include "device_tree.h"
#include "diag_util.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/device_tree/loader.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kFunction[] = "load_device_tree";

struct FreeDocument {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

struct Load {
    XmlTargets targets;
    device_tree *last;  // where the search for the end of the list starts
};

uint32_t read_system(Load &load, xmlNode &element) {
    if (load.targets.socket == nullptr) {
        DIAG_ERROR_IN(kFunction, "Rx NULL pointer for socket config\n");
        return DIAG_E_INVAL;
    }
    if (parse_socket_cfg(&element, load.targets.socket, 1, nullptr) != 0) {
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
    *load.targets.busbroker_supported = is_one(text);
    return 0;
}

uint32_t read_opticstool_present(Load &load, xmlNode &element) {
    const char *text = required_text(element);
    if (text == nullptr) {
        return DIAG_E_INVAL;
    }
    if (load.targets.opticstool_present == nullptr) {
        DIAG_ERROR_IN(kFunction, "Rx NULL pointer as opticstool support flag\n");
        return DIAG_E_INVAL;
    }
    *load.targets.opticstool_present = is_one(text);
    return 0;
}

uint32_t read_chip(Load &load, xmlNode &element) {
    const device_node *node = load.targets.head != nullptr
                                  ? read_chip_xml(load.targets.head, &load.last, &element)
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

}  // namespace

uint32_t load_xml(const char *path, const XmlTargets &targets, xmlDoc **doc_out) {
    Load load{targets, targets.head};
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

}  // namespace diag
