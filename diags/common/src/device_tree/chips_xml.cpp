// SPDX-License-Identifier: MIT
// Chips from the "chip" elements of an XML description.
#include <cstdlib>
#include <cstring>

#include "diag_util.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/device_tree/model.h"
#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/field_readers.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kFunction[] = "parse_device_config";
constexpr char kNoMemory[] = "Can't allocate memory\n";

struct Word {
    const char *word;
    int32_t code;
};

// In the order in which they are looked for, anywhere in the text.
constexpr Word kChipTypes[] = {{"CPLD", DIAG_CHIP_CPLD},
                               {"FPGA", DIAG_CHIP_FPGA},
                               {"TPM", DIAG_CHIP_TPM},
                               {"NVRAM", DIAG_CHIP_NVRAM}};

struct Bus {
    const char *prefix;
    int32_t type;
    const char *before_number;  // null: the bus has no number
};

constexpr Bus kBuses[] = {{"/dev/i2c", DIAG_BUS_I2C, "/dev/i2c-"},
                          {"bmc", DIAG_BUS_BMC, "bmc-"},
                          {"pci", DIAG_BUS_PCI, nullptr},
                          {"mem", DIAG_BUS_MEM, nullptr},
                          {"lpc", DIAG_BUS_LPC, nullptr},
                          {"io", DIAG_BUS_IO, nullptr},
                          {"mtd", DIAG_BUS_MTD, "mtd-"}};

bool read_chip_type(device_node &node, const char *text) {
    node.chip_type = DIAG_CHIP_OTHER;
    for (const Word &known : kChipTypes) {
        if (std::strstr(text, known.word) != nullptr) {
            node.chip_type = known.code;
            break;
        }
    }
    return true;
}

// The number is hexadecimal: "/dev/i2c-10" is bus 16. Without one, bus_no stays.
void read_bus_number(device_node &node, const char *text, const char *before_number) {
    if (!starts_with(text, before_number)) {
        return;
    }
    const char *digits = text + std::strlen(before_number);
    char *end = nullptr;
    const unsigned long number = std::strtoul(digits, &end, 16);
    if (end != digits) {
        node.bus_no = static_cast<uint32_t>(number);
    }
}

bool read_bus(device_node &node, const char *text) {
    node.bus_type = DIAG_BUS_OTHER;
    for (const Bus &known : kBuses) {
        if (starts_with(text, known.prefix)) {
            node.bus_type = known.type;
            if (known.before_number != nullptr) {
                read_bus_number(node, text, known.before_number);
            }
            break;
        }
    }
    return true;
}

bool read_byte_order(device_node &node, const char *text) {
    node.reg_le = std::strcmp(text, "1") == 0 ? 1 : 0;
    return true;
}

constexpr Field<device_node> kChipFields[] = {
    {"chip-type", read_chip_type},
    {"chip-name", read_text<&device_node::name>, kNoMemory},
    {"chip-bus", read_bus},
    {"chip-address", read_hex<&device_node::address>},
    {"chip-version-reg", read_hex<&device_node::version_reg>},
    {"chip-version-mask", read_hex<&device_node::version_mask>},
    {"chip-offset-length", read_hex<&device_node::offset_len>},
    {"chip-register-endian", read_byte_order},
    {"chip-dev-id", read_text<&device_node::dev_id>, kNoMemory},
};

constexpr Field<device_node> kChipIdentifier = {"chip-identifier", read_text<&device_node::chip_id>,
                                                kNoMemory};

// Any start of these words will do as the name of an element.
constexpr Field<mux_entry> kMuxFields[] = {
    {"bus", read_text<&mux_entry::bus>, "Could not allocate mux bus\n"},
    {"addr", read_hex<&mux_entry::addr>},
    {"reg", read_hex<&mux_entry::reg>},
    {"mask", read_hex<&mux_entry::mask>},
    {"val", read_hex<&mux_entry::val>},
};

const Field<mux_entry> *find_mux_field(const xmlNode &element) {
    for (const Field<mux_entry> &field : kMuxFields) {
        if (xml_name_starts(element, field.tag)) {
            return &field;
        }
    }
    return nullptr;
}

uint32_t read_mux(device_node &node, ListEnds &ends, const xmlNode &xml_mux) {
    mux_entry *mux = append_record(&node.mux_list, ends.muxes);
    if (mux == nullptr) {
        DIAG_ERROR_IN(kFunction, "Could not allocate space for Mux settings\n");
        return DIAG_E_NOMEM;
    }
    ends.muxes = mux;
    for (const xmlNode &child : XmlElements(xml_mux.children)) {
        const Field<mux_entry> *field = find_mux_field(child);
        const char *text = xml_first_text(child);
        if (field == nullptr || text == nullptr) {
            continue;
        }
        DIAG_CONFIG_DEBUG(2, "Debug: %s ", text);
        if (const uint32_t status = read_field(kFunction, *field, *mux, text); status != 0) {
            return status;
        }
    }
    return 0;
}

// The field of the element and its text; an identifier may be empty, every other field needs text.
uint32_t read_chip_field(device_node &node, const xmlNode &child) {
    const char *text = xml_first_text(child);
    const bool is_identifier = xml_name_is(child, kChipIdentifier.tag);
    if (is_identifier && child.children == nullptr) {
        text = "";
    }
    const Field<device_node> *field =
        is_identifier ? &kChipIdentifier : find_field(kChipFields, xml_name(child));
    if (field == nullptr || text == nullptr) {
        return 0;
    }
    DIAG_CONFIG_DEBUG(2, "Debug: %s ", text);
    return read_field(kFunction, *field, node, text);
}

uint32_t read_chip_child(device_node &node, ListEnds &ends, xmlNode &child) {
    if (xml_name_is(child, "reg")) {
        return read_register_xml(node, ends, &child);
    }
    if (xml_name_is(child, "chip-mux")) {
        return read_mux(node, ends, child);
    }
    return read_chip_field(node, child);
}

}  // namespace

device_node *read_chip_xml(device_tree *head, device_tree **last, xmlNode *xml_chip) {
    device_node *node = append_chip(last);
    if (node == nullptr) {
        return nullptr;
    }
    ListEnds ends;
    for (xmlNode &child : XmlElements(xml_chip->children)) {
        if (read_chip_child(*node, ends, child) != 0) {
            return nullptr;
        }
    }
    log_chip(head, *last, *node);
    return node;
}

}  // namespace diag
