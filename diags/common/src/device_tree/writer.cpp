// SPDX-License-Identifier: MIT
// Writing a tree in the lines of the text form. What these lines leave out, and where they differ
// from what is read, existing files and programs rely on.
#include <cstdio>

#include "device_tree.h"

namespace {

struct Word {
    int32_t code;
    const char *word;
};

constexpr Word kChipTypes[] = {{DIAG_CHIP_CPLD, "CPLD"},
                               {DIAG_CHIP_FPGA, "FPGA"},
                               {DIAG_CHIP_TPM, "TPM"},
                               {DIAG_CHIP_NVRAM, "NVRAM"}};

// Without "mtd": it is written as unknown.
constexpr Word kBuses[] = {{DIAG_BUS_I2C, "i2c"}, {DIAG_BUS_BMC, "bmc"}, {DIAG_BUS_PCI, "pci"},
                           {DIAG_BUS_MEM, "mem"}, {DIAG_BUS_LPC, "lpc"}, {DIAG_BUS_IO, "io"}};

// Without "RMW", likewise.
constexpr Word kAccesses[] = {
    {DIAG_ACCESS_RO, "RO"}, {DIAG_ACCESS_RW, "RW"}, {DIAG_ACCESS_RC, "RC"}, {DIAG_ACCESS_WO, "WO"}};

template <size_t kCount>
const char *word_of(const Word (&words)[kCount], int32_t code, const char *otherwise) {
    for (const Word &known : words) {
        if (known.code == code) {
            return known.word;
        }
    }
    return otherwise;
}

const char *text_of(const char *text) {
    return text != nullptr ? text : "";
}

const char *access_word(int32_t access) {
    return word_of(kAccesses, access, "UNKNOWN");
}

// Digits of a mask by the size of its register.
int mask_digits(uint32_t size) {
    switch (size) {
        case 8:
            return 2;
        case 16:
            return 4;
        case 32:
            return 8;
        default:
            return 16;
    }
}

void write_bit(FILE *stream, const bit_def &bit) {
    std::fprintf(stream, "B |");
    if (bit.end == bit.start) {
        std::fprintf(stream, "  %d |", bit.end);
    } else {
        std::fprintf(stream, "  %d:%d |", bit.end, bit.start);
    }
    std::fprintf(stream, "%s| %s | 0x%x\n", text_of(bit.name), access_word(bit.access),
                 bit.def_val);
    for (const bit_info *info = bit.infos; info != nullptr; info = info->next) {
        std::fprintf(stream, "I |  %x |%s\n", info->value, text_of(info->desc));
    }
}

void write_register(FILE *stream, const reg_def &reg) {
    std::fprintf(stream, "R | 0x%02x | %d | 0x%0*X |", reg.offset, static_cast<int>(reg.size),
                 mask_digits(reg.size), reg.mask);
    std::fprintf(stream, "%s| %s | 0x%X | %d |%s\n", text_of(reg.name), access_word(reg.access),
                 reg.def_val, static_cast<int>(reg.testable), text_of(reg.version));
    for (const bit_def *bit = reg.bits; bit != nullptr; bit = bit->next) {
        write_bit(stream, *bit);
    }
}

void write_chip(FILE *stream, const device_node &node) {
    std::fprintf(stream, "C | %s | 0x%lx |%s| %s | %x |%s | 0x%02lx | 0x%x\n",
                 word_of(kChipTypes, node.chip_type, "UNKNOWN"), node.address, text_of(node.name),
                 word_of(kBuses, node.bus_type, "unknown"), node.bus_no, text_of(node.chip_id),
                 node.version_reg, node.version_mask);
    for (const reg_list *element = node.reg_list; element != nullptr; element = element->next) {
        if (element->reg != nullptr) {
            write_register(stream, *element->reg);
        }
    }
}

}  // namespace

int save_cfg_file(FILE *stream, device_tree *tree) {
    std::fputs(
        "# C - CHIP (Master | Slave -  Cpld or FPGA), Address, Name, Access\n"
        "# R - Register, Offset, Mask, Name, RW , Default Val\n"
        "# B - Bit(s), bitnum(s), Name, RW, Default Val\n"
        "# I - Information on the bits\n"
        "=====\n",
        stream);
    if (tree->node == nullptr) {
        return 0;
    }
    write_chip(stream, *tree->node);
    for (const device_tree *element = tree->next; element != nullptr; element = element->next) {
        if (element->node != nullptr) {
            std::fputs("=====\n", stream);
            write_chip(stream, *element->node);
        }
    }
    return 0;
}
