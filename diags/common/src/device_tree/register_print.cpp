// SPDX-License-Identifier: MIT
// A register's value, decoded into its bit fields.
#include <cstring>

#include "device_tree.h"
#include "diag_util.h"

namespace {

constexpr int kHighestBit = 31;

const char *or_empty(const char *text) {
    return text != nullptr ? text : "";
}

uint32_t value_of(const reg_def &reg, const uint8_t *data) {
    uint32_t value = 0;
    if (reg.size == 8 || reg.size == 16 || reg.size == 32) {
        std::memcpy(&value, data, reg.size / 8);
    }
    return value;
}

// Bits start to end of the value, at bit 0; what lies outside of 32 bits is 0.
uint32_t field_of(const bit_def &bit, uint32_t value) {
    if (bit.end < bit.start || bit.start < 0 || bit.start > kHighestBit) {
        return 0;
    }
    const int64_t width = int64_t{bit.end} - bit.start + 1;
    const uint32_t shifted = value >> bit.start;
    return width > kHighestBit ? shifted : shifted & ((1U << width) - 1);
}

void print_meaning(const bit_def &bit, uint32_t field) {
    for (const bit_info *info = bit.infos; info != nullptr; info = info->next) {
        if (info->value == field) {
            diag_print(0, "%s\n", or_empty(info->desc));
            return;
        }
    }
    if (bit.infos != nullptr) {
        diag_print(1, "Infor for bit name %s and bitval %x not found\n", or_empty(bit.name), field);
    }
    diag_print(0, "\n");
}

void print_bit(const bit_def &bit, uint32_t value) {
    const uint32_t field = field_of(bit, value);
    if (bit.end == bit.start) {
        diag_print(0, "   %2d ", bit.end);
    } else {
        diag_print(0, "%2d:%2d ", bit.end, bit.start);
    }
    diag_print(0, "%s = %x ", or_empty(bit.name), field);
    print_meaning(bit, field);
}

}  // namespace

void parse_reg_data(const reg_def *reg, const uint8_t *data) {
    diag_print(0, "%s : offset 0x%02x = ", or_empty(reg->name), reg->offset);
    if (reg->length != 1) {
        diag_print(0, "\n");
        const uint32_t unit_bytes = reg->size / 8;
        const uint32_t units = unit_bytes != 0 ? reg->length / unit_bytes : 0;
        dump_hex(data, static_cast<int>(reg->size), units, reg->offset, 1, 1, 0);
        return;
    }
    const uint32_t value = value_of(*reg, data);
    diag_print(0, "0x%x\n", value);

    // From the highest bit down: a field whose end lies above the bits left is printed all the
    // same, but what it takes may end the output.
    int64_t bits_left = kHighestBit;
    for (const bit_def *bit = reg->bits; bit != nullptr && bits_left >= 0; bit = bit->next) {
        if (bit->end < 0) {
            return;
        }
        if (bit->end < bits_left) {
            bits_left = bit->end;
        }
        print_bit(*bit, value);
        bits_left -= int64_t{bit->end} - bit->start + 1;
    }
}
