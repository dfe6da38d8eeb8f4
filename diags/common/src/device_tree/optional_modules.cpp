// SPDX-License-Identifier: MIT
// The optional-module block of a text description:
//
//   OPTIONAL_MODULE_SUPPORT:2          slots
//   CARD_TYPE_SUPPORT:1                card types, one register section each at the end of the file
//   CARD_ID_REG : 0x00 |               register in which a card tells its type
//   Slot | LPC | 0x105 | 0 : C | ...   per slot: the presence bit, and the card as a "C" line
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/device_tree/loader.h"
#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/ipmitool.h"

namespace diag {

namespace {

constexpr char kLoad[] = "load_iom_tree";
constexpr char kUpdate[] = "update_iom_tree";
constexpr char kPresencePipe[] = "/tmp/pl_lpc_pipe";
constexpr char kCardTypePipe[] = "/tmp/pl_i2c_pipe";
constexpr int32_t kNoCard = -1;
constexpr size_t kBusNameRoom = 40;

uint32_t errno_status() {
    return DIAG_E_FAIL | (static_cast<uint32_t>(errno) & 0xFFFF);
}

uint32_t refuse(const char *message) {
    diag_print(0, "%s", message);
    return DIAG_E_INVAL;
}

template <typename Item>
Owned<Item> allocate_array(int count) {
    return Owned<Item>(static_cast<Item *>(std::calloc(static_cast<size_t>(count), sizeof(Item))));
}

// Where a card shows that it is there: a bit that is 0 when it is.
struct Presence {
    uint32_t reg;
    uint32_t bit;
};

uint32_t parse_presence(char *text, Presence *presence) {
    constexpr char kInconsistent[] = "Inconsistent config file\n";
    Fields fields(text, '|');
    const char *slot = fields.next_trimmed();
    const char *interface = fields.next_trimmed();
    const char *reg = fields.next_trimmed();
    const char *bit = fields.next_trimmed();
    if (slot == nullptr || !starts_with(slot, "Slot") || interface == nullptr) {
        return refuse(kInconsistent);
    }
    if (!starts_with(interface, "LPC")) {
        return refuse("Interface not supported yet\n");
    }
    if (reg == nullptr || bit == nullptr) {
        return refuse(kInconsistent);
    }
    *presence = {atoh(reg), atoh(bit)};
    return 0;
}

// How the card of a node is asked for its type.
struct CardAccess {
    char bus[kBusNameRoom];
    unsigned address;
    unsigned reg;
    const reg_info *info;
};

const reg_info *register_access(const device_node &node) {
    if (node.offset_len != 16) {
        return &reg8_data8;
    }
    return node.reg_le != 0 ? &reg16_data8_le : &reg16_data8;
}

uint32_t ask_bmc(const CardAccess &card, uint8_t *type) {
    return read_ipmi_register({card.bus, card.address, card.reg, card.info}, 1, type, 1);
}

uint32_t ask_i2c(const CardAccess &card, uint8_t *type) {
    return i2ctool_get(card.bus, card.address, card.reg, card.info, 1, kCardTypePipe, type);
}

struct CardBus {
    int32_t type;
    const char *name;
    uint32_t (*ask)(const CardAccess &card, uint8_t *type);
};

constexpr CardBus kCardBuses[] = {{DIAG_BUS_BMC, "bmc-", ask_bmc},
                                  {DIAG_BUS_I2C, "/dev/i2c-", ask_i2c}};

const CardBus *find_card_bus(int32_t type) {
    for (const CardBus &known : kCardBuses) {
        if (known.type == type) {
            return &known;
        }
    }
    return nullptr;
}

class OptionalModules {
  public:
    OptionalModules(LineReader &reader, device_tree *head, device_tree **last)
        : reader_(reader), head_(head), last_(last) {}

    uint32_t load(const char *support_line) {
        uint32_t status = read_counts(support_line);
        if (status != 0) {
            return status;
        }
        read_card_id_register();
        for (int slot = 0; slot < slots_; slot++) {
            if (status = read_slot(slot); status != 0) {
                return status;
            }
        }
        const off_t behind_slots = reader_.position();
        status = load_registers();
        if (!reader_.go_to(behind_slots)) {
            const uint32_t seek_status = errno_status();
            DIAG_ERROR_IN(kLoad, "Could not set file to the requested position\n");
            return seek_status;
        }
        return status;
    }

  private:
    uint32_t read_counts(const char *support_line) {
        slots_ = digit_behind_colon(support_line);
        if (slots_ < 0) {
            return refuse("Inconsistent config for Optional modules\n");
        }
        is_absent_ = allocate_array<int32_t>(slots_);
        types_ = allocate_array<int32_t>(slots_);
        if (is_absent_ == nullptr || types_ == nullptr) {
            DIAG_ERROR_IN(kLoad, "Could not allocate structures to hold IOM data\n");
            return DIAG_E_NOMEM;
        }
        const char *line = reader_.next();
        if (line == nullptr) {
            return refuse("Unable to read file\n");
        }
        card_types_ = starts_with(line, "CARD_TYPE_SUPPORT") ? digit_behind_colon(line) : 0;
        if (card_types_ <= 0) {
            return refuse("No of cardtypes missing in config file\n");
        }
        sections_ = allocate_array<off_t>(card_types_);
        if (sections_ == nullptr) {
            DIAG_ERROR_IN(kLoad, "Could not allocate Card Position\n");
            return DIAG_E_NOMEM;
        }
        diag_print(2, "This platform supports %d optional modules and %d card types\n", slots_,
                   card_types_);
        return 0;
    }

    void read_card_id_register() {
        char *line = reader_.next();
        if (line == nullptr) {
            return;
        }
        reader_.cut_line_feed();
        Fields parts(line, ':');
        const char *name = parts.next_trimmed();
        diag_print(1, "%s\n", name != nullptr ? name : "");
        char *number = parts.rest();
        if (name == nullptr || !starts_with(name, "CARD_ID_REG") || number == nullptr) {
            diag_print(0, "CPLD CardID Register expected\n");
            return;
        }
        Fields fields(number, '|');
        const char *text = fields.next_trimmed();
        card_id_register_ = text != nullptr ? atoh(text) : 0;
        diag_print(1, "0x%x Cardid reg\n", card_id_register_);
    }

    uint32_t read_slot(int slot) {
        char *line = reader_.next();
        if (line == nullptr) {
            return refuse("Reached EOF\n");
        }
        if (is_delimiter(line)) {
            return refuse("Not all information about IOM slots available in config file\n");
        }
        reader_.cut_line_feed();
        char *card = std::strchr(line, ':');
        if (card != nullptr) {
            *card++ = '\0';
        }
        Presence presence{};
        if (const uint32_t status = parse_presence(line, &presence); status != 0) {
            return status;
        }
        diag_print(1, "Presence Reg 0x%x bit %d\n", presence.reg, static_cast<int>(presence.bit));
        uint8_t byte = 0;
        if (lpctool_get(presence.reg, 1, 'b', kPresencePipe, &byte) != 0) {
            diag_print(0, "Could not read lpc at 0x%x\n", presence.reg);
            return DIAG_E_INVAL;
        }
        const bool is_absent = ((byte >> (presence.bit & 31)) & 1) != 0;
        diag_print(1, "Slot %d is %s \n", slot + 1, is_absent ? "not present" : "present");
        is_absent_.get()[slot] = is_absent ? 1 : 0;
        if (is_absent) {
            types_.get()[slot] = kNoCard;
            return 0;
        }
        char no_card[] = "";
        return read_card(slot, card != nullptr ? card : no_card);
    }

    uint32_t read_card(int slot, char *card_line) {
        const device_node *node = read_chip_line(head_, last_, card_line);
        if (node == nullptr) {
            return DIAG_E_INVAL;
        }
        set_muxes(node->mux_list);
        diag_print(1, "Reading I2C device 0x%lx reg 0x%x\n", node->address, card_id_register_);
        const CardBus *bus = find_card_bus(node->bus_type);
        if (bus == nullptr) {
            return refuse("Interface not supported yet\n");
        }
        CardAccess card{{},
                        static_cast<unsigned>(node->address & 0xFF),
                        card_id_register_ & 0xFFFF,
                        register_access(*node)};
        std::snprintf(card.bus, sizeof card.bus, "%s%d", bus->name, static_cast<int>(node->bus_no));
        uint8_t type = 0;
        if (bus->ask(card, &type) != 0) {
            // The other slots are still worth a look.
            diag_print(0, "\n IOM Slot %d present but not powered on\n", slot + 1);
            diag_print(1, "Error reading %s 0x%lx 0x%x\n", card.bus, node->address,
                       card_id_register_);
            return 0;
        }
        types_.get()[slot] = type;
        cards_read_++;
        return 0;
    }

    // The section of card type t stands behind the t-th line that begins with "IOMTYPE".
    uint32_t load_registers() {
        int found = 0;
        while (const char *line = reader_.next()) {
            if (starts_with(line, "IOMTYPE")) {
                if (found < card_types_) {
                    sections_.get()[found] = reader_.position();
                }
                found++;
            }
        }
        if (found != card_types_) {
            return refuse("Inconsistent config for Optional modules\n");
        }
        return cards_read_ > 0 ? update_cards() : 0;
    }

    // Cards and chips are walked together: the first chip that gets registers is the first one of
    // the tree, and the walk steps on only past chips that got some.
    uint32_t update_cards() {
        diag_print(1, "List of available iom modules\n");
        device_tree *element = head_;
        for (int slot = 0; slot < slots_; slot++) {
            const int32_t type = types_.get()[slot];
            if (is_absent_.get()[slot] != 0 || type <= 0) {
                continue;
            }
            while (element != nullptr && element->node == nullptr) {
                element = element->next;  // left behind by a load that ran out of memory
            }
            if (element == nullptr) {
                break;
            }
            if (const uint32_t status = load_section(type, element->node); status != 0) {
                return status;
            }
            diag_print(1, "Slot %d -> %d : %s\n", slot + 1, type,
                       element->node->chip_id != nullptr ? element->node->chip_id : "");
            element = element->next;
        }
        return 0;
    }

    uint32_t load_section(int32_t type, device_node *node) {
        errno = 0;
        if (type > card_types_ || !reader_.go_to(sections_.get()[type - 1])) {
            const uint32_t status = errno_status();
            DIAG_ERROR_IN(kUpdate, "File position cannot be set to the requested position\n");
            return status;
        }
        ListEnds ends;
        for (char *line = reader_.next(); line != nullptr && !is_delimiter(line);
             line = reader_.next()) {
            reader_.cut_line_feed();
            if (read_register_line(*node, ends, line) != 0) {
                DIAG_ERROR_IN(kUpdate, "Could not load the IOM Registers\n");
                return 0xFFFFFFFFU;
            }
        }
        return 0;
    }

    LineReader &reader_;
    device_tree *head_;
    device_tree **last_;
    int slots_ = 0;
    int card_types_ = 0;
    int cards_read_ = 0;
    uint32_t card_id_register_ = 0;
    Owned<int32_t> is_absent_;
    Owned<int32_t> types_;   // by slot; 0 while it is not known
    Owned<off_t> sections_;  // by card type, from 1 on
};

}  // namespace

uint32_t load_optional_modules(LineReader &reader, const char *support_line, device_tree *head,
                               device_tree **last) {
    return OptionalModules(reader, head, last).load(support_line);
}

}  // namespace diag
