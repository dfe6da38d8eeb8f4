// SPDX-License-Identifier: MIT
// Chips from the "C" lines of a text description.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kFunction[] = "parse_device_config";
constexpr size_t kMostOfText = 30;  // of a name or an identifier
constexpr uint32_t kUsualOffsetLength = 8;

struct Word {
    const char *start;
    int32_t code;
};

// Compared with the field as it stands, the blank before the word included.
constexpr Word kChipTypes[] = {{" CPLD", DIAG_CHIP_CPLD},
                               {" FPGA", DIAG_CHIP_FPGA},
                               {" TPM", DIAG_CHIP_TPM},
                               {" NVRA", DIAG_CHIP_NVRAM}};

constexpr Word kBuses[] = {{"i2c", DIAG_BUS_I2C}, {"bmc", DIAG_BUS_BMC}, {"pci", DIAG_BUS_PCI},
                           {"mem", DIAG_BUS_MEM}, {"lpc", DIAG_BUS_LPC}, {"io", DIAG_BUS_IO},
                           {"mtd", DIAG_BUS_MTD}};

template <size_t kCount>
int32_t code_of(const Word (&words)[kCount], const char *text, int32_t otherwise) {
    for (const Word &known : words) {
        if (starts_with(text, known.start)) {
            return known.code;
        }
    }
    return otherwise;
}

void echo(const char *field) {
    DIAG_CONFIG_DEBUG(3, "%s ", field);
}

bool refuse_format() {
    DIAG_ERROR_IN(kFunction, "Config format error\n");
    return false;
}

// A copy of the field without the blanks around it and not longer than a text may be; null when
// there is no memory.
char *copy_short_text(char *field) {
    trim_spaces(field);
    if (std::strlen(field) > kMostOfText) {
        field[kMostOfText] = '\0';
    }
    echo(field);
    return copy_text(field);
}

bool read_letter(device_node & /*node*/, Fields &fields) {
    const char *letter = fields.next_trimmed();
    if (letter == nullptr || letter[0] != 'C') {
        diag_print(1, "Invalid entry in device list: %s \n", letter != nullptr ? letter : "");
        return false;
    }
    echo(letter);
    return true;
}

bool read_chip_type(device_node &node, Fields &fields) {
    const char *type = fields.next();
    if (type == nullptr) {
        return refuse_format();
    }
    DIAG_CONFIG_DEBUG(2, "Debug: %s ", type);
    echo(type);
    node.chip_type = code_of(kChipTypes, type, DIAG_CHIP_OTHER);
    return true;
}

bool read_address(device_node &node, Fields &fields) {
    const char *address = fields.next();
    if (address == nullptr) {
        return refuse_format();
    }
    echo(address);
    node.address = atoh(address);
    return true;
}

bool read_name(device_node &node, Fields &fields) {
    char *name = fields.next();
    if (name == nullptr) {
        return refuse_format();
    }
    node.name = copy_short_text(name);
    return node.name != nullptr;
}

void look_for_pci_device(const device_node &node) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/bus/pci/%02x/%02x.%x", node.bus_no,
                  static_cast<unsigned>(node.pci_dev), static_cast<unsigned>(node.pci_func));
    if (access(path, F_OK) != 0) {
        diag_print(1, "PCI Device %02x/%02x.%x not found \n", node.bus_no,
                   static_cast<unsigned>(node.pci_dev), static_cast<unsigned>(node.pci_func));
    }
}

// The number of a bus, or bus:device.function.
void read_location(device_node &node, const char *location) {
    echo(location);
    node.bus_no = atoh(location);
    const char *device = std::strchr(location, ':');
    const char *function = device != nullptr ? std::strchr(device, '.') : nullptr;
    if (function == nullptr) {
        node.pci_dev = -1;
        node.pci_func = -1;
        return;
    }
    node.pci_dev = static_cast<int32_t>(atoh(device + 1));
    node.pci_func = static_cast<int32_t>(atoh(function + 1));
    look_for_pci_device(node);
}

// The word of the bus ends at a blank; what else stands in its field is the location already.
bool read_bus(device_node &node, Fields &fields) {
    char *field = fields.next();
    if (field == nullptr) {
        return refuse_format();
    }
    Fields words(field, ' ');
    const char *bus = words.next();
    const char *location = words.rest();
    if (location == nullptr) {
        location = fields.next();
    }
    if (bus != nullptr) {
        echo(bus);
        node.bus_type = code_of(kBuses, bus, DIAG_BUS_OTHER);
    }
    if (location == nullptr) {
        return refuse_format();
    }
    read_location(node, location);
    return true;
}

bool is_blank(const char *text) {
    return text[std::strspn(text, " ")] == '\0';
}

// A blank field names no mux: so the writer's lines of chips without an identifier, which it puts
// in this place, can be read.
bool read_muxes(device_node &node, Fields &fields) {
    char *muxes = fields.next();
    if (muxes == nullptr) {
        return true;
    }
    DIAG_CONFIG_DEBUG(3, "%s\n", muxes);
    if (starts_with(muxes, " -") || is_blank(muxes)) {
        return true;
    }
    node.mux_list = allocate<mux_entry>();
    if (node.mux_list == nullptr) {
        DIAG_ERROR_IN(kFunction, "Could not allocate space for Mux settings\n");
        return false;
    }
    return parse_mux_setting(node.mux_list, muxes) == 0;
}

bool read_identifier(device_node &node, Fields &fields) {
    char none[] = "";
    char *identifier = fields.next();
    node.chip_id = copy_short_text(identifier != nullptr ? identifier : none);
    if (node.chip_id == nullptr) {
        DIAG_ERROR_IN(kFunction, "Can't allocate memory\n");
    }
    return node.chip_id != nullptr;
}

template <auto kMember>
bool read_number(device_node &node, Fields &fields) {
    const char *number = fields.next();
    if (number != nullptr) {
        echo(number);
        node.*kMember = atoh(number);
    }
    return true;
}

bool read_offset_length(device_node &node, Fields &fields) {
    node.offset_len = kUsualOffsetLength;
    const char *length = fields.next();
    if (length == nullptr || is_blank(length)) {
        return true;
    }
    echo(length);
    const long bits = std::strtol(length, nullptr, 10);
    node.offset_len = bits == 8 || bits == 16 ? static_cast<uint32_t>(bits) : 0;
    if (node.offset_len == 0) {
        diag_print(0, "Unsupported offset length \n");
    }
    return true;
}

// In the order of the fields. A reader that answers false has said why.
using FieldStep = bool (*)(device_node &node, Fields &fields);

constexpr FieldStep kFields[] = {read_letter,
                                 read_chip_type,
                                 read_address,
                                 read_name,
                                 read_bus,
                                 read_muxes,
                                 read_identifier,
                                 read_number<&device_node::version_reg>,
                                 read_number<&device_node::version_mask>,
                                 read_offset_length};

}  // namespace

device_node *read_chip_line(device_tree *head, device_tree **last, char *line) {
    device_node *node = append_chip(last);
    if (node == nullptr) {
        return nullptr;
    }
    Fields fields(line, '|');
    for (const FieldStep read : kFields) {
        if (!read(*node, fields)) {
            return nullptr;
        }
    }
    log_chip(head, *last, *node);
    return node;
}

}  // namespace diag
