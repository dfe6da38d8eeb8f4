// SPDX-License-Identifier: MIT
#include "tests/board/sim/tree_maker.h"

namespace diag::test {
namespace {

// Puts a record at the end of a list that is linked through `next`.
template <typename Record>
void append(Record **first, Record *record) {
    while (*first != nullptr) {
        first = &(*first)->next;
    }
    *first = record;
}

}  // namespace

char *TreeMaker::text(const std::string &value) {
    return texts_.emplace_back(value).data();
}

device_node &TreeMaker::chip(const std::string &name, uint32_t bus, uint8_t address) {
    return chip_on(name, DIAG_BUS_I2C, bus, address);
}

device_node &TreeMaker::chip_on(const std::string &name, int32_t bus_type, uint32_t bus,
                                uint32_t address) {
    device_node &node = nodes_.emplace_back();
    node.name = text(name);
    node.bus_type = bus_type;
    node.bus_no = bus;
    node.address = address;
    node.offset_len = 8;
    node.pci_dev = -1;
    node.pci_func = -1;
    if (last_ == nullptr) {
        last_ = &head_;
    } else {
        last_->next = &elements_.emplace_back();
        last_ = last_->next;
    }
    last_->node = &node;
    return node;
}

reg_def &TreeMaker::reg(device_node &chip, const std::string &name, uint32_t offset, uint32_t size,
                        int32_t access) {
    reg_def &made = registers_.emplace_back();
    made.name = text(name);
    made.offset = offset;
    made.size = size;
    made.access = access;
    made.length = 1;
    reg_list &item = items_.emplace_back();
    item.reg = &made;
    reg_list *&last = last_items_[&chip];
    (last != nullptr ? last->next : chip.reg_list) = &item;
    last = &item;
    return made;
}

bit_def &TreeMaker::field(reg_def &owner, int32_t high, int32_t low, int32_t access) {
    bit_def &made = fields_.emplace_back();
    made.start = low;
    made.end = high;
    made.access = access;
    append(&owner.bits, &made);
    return made;
}

mux_entry &TreeMaker::mux(device_node &chip, const char *bus, uint32_t address, uint32_t reg,
                          uint32_t mask, uint32_t value) {
    mux_entry &made = muxes_.emplace_back();
    made.bus = bus != nullptr ? text(bus) : nullptr;
    made.addr = address;
    made.reg = reg;
    made.mask = mask;
    made.val = value;
    append(&chip.mux_list, &made);
    return made;
}

}  // namespace diag::test
