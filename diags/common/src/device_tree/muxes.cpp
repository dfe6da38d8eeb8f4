// SPDX-License-Identifier: MIT
// The muxes on the way to a chip: reading them from a description, and setting them.
#include <cstring>

#include "device_tree.h"
#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/device_tree/model.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/xml.h"
#include "diags/common/src/log.h"

namespace {

using diag::Fields;

constexpr char kMemoryPipe[] = "/tmp/eda_pipe";

uint32_t set_i2c_mux(const mux_entry &mux) {
    const auto select = static_cast<uint8_t>(mux.val);
    diag_print(3, "Setting I2C Mux %s %#x %#x %#x\n", mux.bus, mux.addr, mux.reg, select);
    return static_cast<uint32_t>(i2ctool_set(mux.bus, mux.addr & 0xFF,
                                             static_cast<int>(mux.reg & 0xFFFF), &reg8_data8,
                                             &select, 1, 0, false));
}

uint32_t set_bmc_mux(const mux_entry &mux) {
    const auto select = static_cast<uint8_t>(mux.val);
    diag_print(3, "Setting BMC Mux %s %#x %#x %#x\n", mux.bus, mux.addr, mux.reg, select);
    return ipmitool_set(mux.bus, mux.addr & 0xFF, mux.reg & 0xFFFF, &reg8_data8, &select, 1, 0);
}

uint32_t set_ipmi_mux(const mux_entry &mux) {
    const auto select = static_cast<uint8_t>(mux.val);
    diag_print(3, "Setting IPMI Mux %#x %#x %#x\n", mux.addr, mux.reg, select);
    return ipmii2c_set(mux.bus, mux.addr & 0xFF, mux.reg & 0xFFFF, &reg8_data8, &select, 1, 0);
}

uint32_t set_gpio_mux(const mux_entry &mux) {
    const auto level = static_cast<uint8_t>(mux.val);
    diag_print(3, "Setting GPIO Mux %#x %#x %#x\n", mux.addr, mux.reg, level);
    return gpiotool_set(mux.addr, mux.reg, &level, false);
}

// The only kind that heeds the mask: bits of the byte outside of it and of the value are somebody
// else's. A failed reading leaves 0 to start from; the write then tells.
uint32_t set_memory_mux(const mux_entry &mux) {
    uint8_t byte = 0;
    memtool_get(mux.addr, 1, 8, kMemoryPipe, false, &byte);
    byte = static_cast<uint8_t>((byte & ~mux.mask) | mux.val);
    diag_print(3, "Setting Mem Mux %#x %#x %#x\n", mux.addr, mux.reg, byte);
    return memtool_set(mux.addr, 8, &byte, 1, false);
}

struct MuxBus {
    const char *word;
    uint32_t (*set)(const mux_entry &mux);
};

// Looked for anywhere in the bus text, in this order.
constexpr MuxBus kMuxBuses[] = {{"i2c", set_i2c_mux},
                                {"bmc", set_bmc_mux},
                                {"ipmi", set_ipmi_mux},
                                {"gpio", set_gpio_mux},
                                {"mem", set_memory_mux}};

const MuxBus *find_mux_bus(const char *bus) {
    for (const MuxBus &known : kMuxBuses) {
        if (bus != nullptr && std::strstr(bus, known.word) != nullptr) {
            return &known;
        }
    }
    return nullptr;
}

struct MuxNumber {
    uint32_t mux_entry::*member;
    const char *missing;  // message of the text form
};

constexpr MuxNumber kMuxNumbers[] = {
    {&mux_entry::addr, "Invalid MUX specification. Expecting a Mux address\n"},
    {&mux_entry::reg, "Invalid MUX specification. Expecting a Mux register\n"},
    {&mux_entry::mask, "Invalid MUX specification. Expecting a Mux mask\n"},
    {&mux_entry::val, "Invalid MUX specification. Expecting a Mux Value\n"},
};

// Passes over the word before a deeper mux, which says nothing. Blanks at the end are no word: the
// field of a "C" line has one there.
bool is_mux_next(Fields &fields) {
    const char *word = fields.next();
    return word != nullptr && (word[std::strspn(word, " ")] != '\0' || fields.rest() != nullptr);
}

// Address, register, mask and value of one mux.
uint32_t read_mux_numbers(mux_entry &mux, Fields &fields) {
    for (const MuxNumber &number : kMuxNumbers) {
        const char *text = fields.next();
        if (text == nullptr) {
            diag_print(1, "%s", number.missing);
            return DIAG_E_INVAL;
        }
        mux.*number.member = atoh(text);
    }
    DIAG_CONFIG_DEBUG(3, "Mux: %s %#x %#x %#x %#x\n", mux.bus != nullptr ? mux.bus : "", mux.addr,
                      mux.reg, mux.mask, mux.val);
    return 0;
}

// Takes the bus, up to the next blank, off the front of the text and answers what follows it; null
// when there is no memory for the bus. A bus that the entry has had is left alone: further muxes
// may share it.
char *read_mux_bus(mux_entry &mux, char *text) {
    text += std::strspn(text, " ");
    char *end = text + std::strcspn(text, " ");
    char *behind = *end != '\0' ? end + 1 : end;
    *end = '\0';
    char *bus = diag::copy_text(text);
    if (bus == nullptr) {
        return nullptr;
    }
    mux.bus = bus;
    return behind;
}

// `given` is what the entry came with, which further muxes of the chain may share: a text that fits
// goes into it, one that does not fit gets a buffer of its own and leaves it alone.
bool store_bus(mux_entry &mux, const char *given, const char *text) {
    if (mux.bus != given) {
        return diag::replace_text(&mux.bus, text);
    }
    const size_t length = std::strlen(text);
    if (mux.bus != nullptr && length <= std::strlen(mux.bus)) {
        std::memcpy(mux.bus, text, length + 1);
        return true;
    }
    char *copy = diag::copy_text(text);
    if (copy == nullptr) {
        return false;
    }
    mux.bus = copy;
    return true;
}

struct XmlMuxNumber {
    const char *word;
    uint32_t mux_entry::*member;
    const char *echo;
};

constexpr XmlMuxNumber kXmlMuxNumbers[] = {
    {"addr", &mux_entry::addr, "Load psu mux addr"},
    {"reg", &mux_entry::reg, "Load mux reg"},
    {"mask", &mux_entry::mask, "Load mux mask"},
    {"val", &mux_entry::val, "Load mux val"},
};

void read_xml_number(mux_entry &entry, const XmlMuxNumber &number, const char *text) {
    entry.*number.member = atoh(text);
    diag_print(3, "%s : %d\n", number.echo, static_cast<int>(entry.*number.member));
}

const XmlMuxNumber *find_xml_number(const xmlNode &element) {
    for (const XmlMuxNumber &number : kXmlMuxNumbers) {
        if (diag::xml_name_starts(element, number.word)) {
            return &number;
        }
    }
    return nullptr;
}

}  // namespace

uint32_t set_muxes(mux_entry *first) {
    diag_print(3, "Setting Mux for access to Device \n");
    uint32_t status = 0;
    for (mux_entry *mux = first; mux != nullptr; mux = mux->next) {
        if (mux->bus == nullptr) {
            mux->bus = first->bus;  // deeper muxes sit on the bus of the first
        }
        const MuxBus *bus = find_mux_bus(mux->bus);
        if (bus == nullptr) {
            diag_print(0, "Unknown Bus Type specified\n");
            return status;
        }
        status = bus->set(*mux);
    }
    return status;
}

uint32_t parse_mux_xml(xmlNode *element, mux_entry *entry) {
    if (entry == nullptr) {
        DIAG_ERROR("Input mux tree is NULL\n");
        return DIAG_E_INVAL;
    }
    const char *const given_bus = entry->bus;
    for (const xmlNode &child : diag::XmlElements(element->children)) {
        const bool is_bus = diag::xml_name_starts(child, "bus");
        const XmlMuxNumber *number = is_bus ? nullptr : find_xml_number(child);
        if (!is_bus && number == nullptr) {
            continue;
        }
        const char *text = diag::xml_first_text(child);
        if (text == nullptr) {
            diag_print(0, "Invalid Element Structure\n");
        } else if (number != nullptr) {
            read_xml_number(*entry, *number, text);
        } else if (store_bus(*entry, given_bus, text)) {
            diag_print(3, "Load mux bus : %s\n", entry->bus);
        } else {
            DIAG_ERROR("Could not malloc mux bus\n");
            return DIAG_E_NOMEM;
        }
    }
    return 0;
}

uint32_t parse_mux_setting(mux_entry *first, char *text) {
    DIAG_CONFIG_DEBUG(3, "Mux Line: %s\n", text);
    char *numbers = read_mux_bus(*first, text);
    if (numbers == nullptr) {
        DIAG_ERROR("Could not allocate mux bus\n");
        return DIAG_E_NOMEM;
    }
    Fields fields(numbers, ':');
    for (mux_entry *mux = first;;) {
        if (const uint32_t status = read_mux_numbers(*mux, fields); status != 0) {
            return status;
        }
        if (!is_mux_next(fields)) {
            DIAG_CONFIG_DEBUG(3, "No Next Level Mux found \n");
            return 0;
        }
        DIAG_CONFIG_DEBUG(3, "next level mux found\n");
        mux->next = diag::allocate<mux_entry>();
        mux = mux->next;
        if (mux == nullptr) {
            diag_print(0, "Could not allocate next mux structure\n");
            return DIAG_E_NOMEM;
        }
    }
}
