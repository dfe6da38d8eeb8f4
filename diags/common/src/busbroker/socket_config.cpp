// SPDX-License-Identifier: MIT
// Where the bus broker listens, read from a description or from one line of text.
#include <cstdio>
#include <cstring>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/field_readers.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace {

using diag::Field;

constexpr char kParseSocketCfg[] = "parse_socket_cfg";

void set_ip(socket_cfg &cfg, const char *text) {
    std::snprintf(cfg.ip, sizeof cfg.ip, "%s", text);
}

bool read_ip(socket_cfg &cfg, const char *text) {
    set_ip(cfg, text);
    diag_print(3, "Ip addr = %s\n", cfg.ip);
    return true;
}

bool read_port(socket_cfg &cfg, const char *text) {
    diag::read_number<&socket_cfg::PortNo, 10>(cfg, text);
    diag_print(3, "Ip Port = %d\n", cfg.PortNo);
    return true;
}

bool read_family(socket_cfg &cfg, const char *text) {
    cfg.is_ipv4 = diag::starts_with(text, "ipv4") ? 1 : 0;
    diag_print(3, "Config ip family = %s\n", text);
    return true;
}

bool read_count(socket_cfg &cfg, const char *text) {
    diag::read_number<&socket_cfg::maxsockcnt, 10>(cfg, text);
    diag_print(3, "Max allowed count = %d\n", cfg.maxsockcnt);
    return true;
}

bool read_type(socket_cfg &cfg, const char *text) {
    cfg.is_udp = diag::starts_with(text, "udp") ? 1 : 0;
    return true;
}

constexpr Field<socket_cfg> kElements[] = {
    {"ip", read_ip},
    {"PortNo", read_port},
    {"inetfamily", read_family},
    {"maxsockcnt", read_count},
    {"sock_type", read_type},
};

uint32_t read_elements(xmlNode *node, socket_cfg &cfg) {
    for (const xmlNode &child : diag::XmlElements(node->children)) {
        const Field<socket_cfg> *field = diag::find_field(kElements, diag::xml_name(child));
        if (field == nullptr) {
            continue;
        }
        const char *text = diag::xml_first_text(child);
        if (text == nullptr) {
            DIAG_ERROR_IN(kParseSocketCfg, "Invalid Element Structure\n");
            return DIAG_E_INVAL;
        }
        field->read(cfg, text);
    }
    return 0;
}

// ip|port|family|maxcount|type. Family and type are looked for anywhere in their field, where the
// XML form wants them in front: files of both kinds rely on it.
uint32_t read_line(char *text, socket_cfg &cfg) {
    diag::Fields fields(text, '|');
    const char *ip = fields.next_trimmed();
    const char *port = fields.next();
    const char *family = fields.next();
    const char *count = fields.next();
    const char *type = fields.next();
    if (type == nullptr) {
        DIAG_ERROR_IN(kParseSocketCfg, "Invalid socket config \n");
        return DIAG_E_INVAL;
    }
    set_ip(cfg, ip);
    diag::read_number<&socket_cfg::PortNo, 10>(cfg, port);
    cfg.is_ipv4 = std::strstr(family, "ipv4") != nullptr ? 1 : 0;
    diag::read_number<&socket_cfg::maxsockcnt, 10>(cfg, count);
    cfg.is_udp = std::strstr(type, "udp") != nullptr ? 1 : 0;
    return 0;
}

}  // namespace

uint32_t parse_socket_cfg(xmlNode *node, socket_cfg *cfg, int from_xml, char *text) {
    const bool has_source = from_xml != 0 ? node != nullptr : text != nullptr;
    if (!has_source || cfg == nullptr) {
        DIAG_ERROR("Null pointer received for socket config \n");
        return DIAG_E_INVAL;
    }
    return from_xml != 0 ? read_elements(node, *cfg) : read_line(text, *cfg);
}
