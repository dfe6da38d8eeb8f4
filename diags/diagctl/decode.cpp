// SPDX-License-Identifier: MIT
#include "diags/diagctl/decode.h"

#include <algorithm>

#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

// Where byte `i` of `count` stands in the value, in bits.
unsigned shift_of(ByteOrder order, std::size_t i, std::size_t count) {
    return static_cast<unsigned>(8 * (order == ByteOrder::kLowFirst ? i : count - 1 - i));
}

}  // namespace

std::uint32_t bit_mask(int low, int high) {
    if (low < 0 || high > 31 || low > high) {
        return 0;
    }
    const std::uint64_t above = std::uint64_t{1} << (high + 1);
    return static_cast<std::uint32_t>(above - (std::uint64_t{1} << low));
}

std::uint32_t field_mask(const Field &field) {
    return bit_mask(field.low, field.high);
}

std::uint32_t extract(const Field &field, std::uint32_t register_value) {
    const std::uint32_t mask = field_mask(field);
    return mask == 0 ? 0 : (register_value & mask) >> field.low;
}

std::uint32_t insert(const Field &field, std::uint32_t register_value, std::uint32_t field_value) {
    const std::uint32_t mask = field_mask(field);
    return mask == 0 ? register_value
                     : (register_value & ~mask) | ((field_value << field.low) & mask);
}

std::size_t register_bytes(const reg_def &reg) {
    return static_cast<std::size_t>(reg.size / 8) * reg.length;
}

std::uint32_t value_of_bytes(const RegisterBytes &answer) {
    const std::size_t count = std::min<std::size_t>(answer.bytes.size(), 4);
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value |= std::uint32_t{answer.bytes[i]} << shift_of(answer.order, i, count);
    }
    return value;
}

std::vector<std::uint8_t> bytes_of_value(std::uint32_t value, std::size_t count, ByteOrder order) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift_of(order, i, count)));
    }
    return bytes;
}

DecodedField decode_field(const Field &field, std::uint32_t register_value) {
    DecodedField decoded{field, extract(field, register_value), {}};
    const bit_info *info = field.definition == nullptr ? nullptr : field.definition->infos;
    for (; info != nullptr; info = info->next) {
        if (info->value == decoded.value) {
            decoded.meaning = one_line(info->desc);
            break;
        }
    }
    return decoded;
}

std::vector<DecodedField> decode_fields(const reg_def &reg, std::uint32_t register_value) {
    std::vector<DecodedField> decoded;
    for (const Field &field : sorted_fields(reg)) {
        decoded.push_back(decode_field(field, register_value));
    }
    return decoded;
}

std::vector<Field> sorted_fields(const reg_def &reg) {
    std::vector<Field> fields;
    for (const bit_def *bit = reg.bits; bit != nullptr; bit = bit->next) {
        fields.push_back(field_of(*bit));
    }
    std::stable_sort(fields.begin(), fields.end(),
                     [](const Field &a, const Field &b) { return a.high > b.high; });
    return fields;
}

}  // namespace diag::diagctl
