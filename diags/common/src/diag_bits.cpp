// SPDX-License-Identifier: MIT
// Bit fields, byte order and the SMBus packet error code.
#include <bit>
#include <cstring>

#include "diag_util.h"

#include "diags/common/src/log.h"

namespace {

// What the processor does with a shift count, spelled out: the language leaves it undefined.
unsigned int shift_left(unsigned int value, unsigned int count) {
    return value << (count % 32);
}
unsigned int shift_right(unsigned int value, unsigned int count) {
    return value >> (count % 32);
}

template <typename Number>
uint64_t swap_bytes_of(const void *source, void *dest) {
    Number number = 0;
    std::memcpy(&number, source, sizeof number);
    Number swapped = 0;
    for (size_t i = 0; i < sizeof number; i++) {
        const auto byte = static_cast<Number>((number >> (8 * i)) & 0xFF);
        swapped = static_cast<Number>(swapped | (byte << (8 * (sizeof number - 1 - i))));
    }
    std::memcpy(dest, &swapped, sizeof swapped);
    return swapped;
}

}  // namespace

unsigned int get_field_val(int low_bit, int high_bit, unsigned int value) {
    const unsigned int top = shift_left(1, static_cast<unsigned int>(high_bit));
    return shift_right(value & ((top - 1) | top), static_cast<unsigned int>(low_bit));
}

unsigned int get_byte_field_val(int low_bit, int high_bit, unsigned int value) {
    return get_field_val(low_bit, high_bit, value & 0xFF);
}

unsigned int prepare_mask(unsigned int end_bit, unsigned int start_bit) {
    if (start_bit > end_bit) {
        DIAG_ERROR("Start bit is greater than end bit\n");
        return 0;
    }
    const unsigned int above_first = end_bit - start_bit;
    const unsigned int ones = above_first >= 31 ? ~0U : (2U << above_first) - 1;
    return std::rotl(ones, static_cast<int>(start_bit % 32));
}

unsigned int reverse_bits(int value) {
    unsigned int reversed = 0;
    for (int bit = 0; bit < 8; bit++) {
        reversed = (reversed << 1) | (static_cast<unsigned int>(value >> bit) & 1U);
    }
    return reversed;
}

uint32_t update_buf(uint8_t *dest, unsigned int count, const uint8_t *source) {
    if (source == nullptr) {
        DIAG_ERROR("Input data pointer is NULL\n");
        return DIAG_E_INVAL;
    }
    std::memcpy(dest, source, count);
    return 0;
}

int is_host_be(void) {
    return 0;
}

unsigned int byte_swap(unsigned int value, unsigned int bits) {
    unsigned int swapped = 0;
    switch (bits & 0xFF) {
        case 32:
            swapped =
                (value << 24) | ((value & 0xFF00) << 8) | ((value >> 8) & 0xFF00) | (value >> 24);
            break;
        case 16:
            swapped = ((value & 0xFF) << 8) | ((value >> 8) & 0xFF);
            break;
        default:
            DIAG_ERROR("Unspported Byte Swapping bits:%d\n", static_cast<int>(bits & 0xFF));
            return value;
    }
    diag_print(1, "Byte Swapping 0x%x to 0x%x\n", value, swapped);
    return swapped;
}

uint64_t byte_swap_p(const void *source, void *dest, int bits) {
    switch (bits) {
        case 8:
            return swap_bytes_of<uint8_t>(source, dest);
        case 16:
            return swap_bytes_of<uint16_t>(source, dest);
        case 32:
            return swap_bytes_of<uint32_t>(source, dest);
        default:
            return swap_bytes_of<uint64_t>(source, dest);
    }
}

unsigned int crc8(unsigned int crc, unsigned int data) {
    constexpr unsigned int kPolynomial = 0x8380;  // x^8 + x^2 + x + 1, at the top of 16 bits
    unsigned int word = ((crc ^ data) << 8) & 0xFFFF;
    for (int bit = 0; bit < 8; bit++) {
        if ((word & 0x8000) != 0) {
            word ^= kPolynomial;
        }
        word = (word << 1) & 0xFFFF;
    }
    return word >> 8;
}

int add_pec(int address, uint8_t *buffer, unsigned int length) {
    unsigned int crc = crc8(0, static_cast<unsigned int>(address) & 0xFF);
    for (unsigned int i = 0; i < length; i++) {
        crc = crc8(crc & 0xFF, buffer[i]);
    }
    buffer[length] = static_cast<uint8_t>(crc);
    return 0;
}
