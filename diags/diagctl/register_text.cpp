// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "diag_util.h"

#include "diags/diagctl/decode.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::size_t kDumpWidth = 16;

unsigned width_of(const Field &field) {
    return static_cast<unsigned>(field.high - field.low + 1);
}

std::string value_text(const DecodedField &decoded) {
    const std::string value = hex(decoded.value, width_of(decoded.field));
    return decoded.meaning.empty() ? value : fmt::format("{} ({})", value, decoded.meaning);
}

Json bytes_json(const std::vector<std::uint8_t> &bytes) {
    Json json;
    json["bytes"] = bytes;
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += fmt::format("{:02x}", byte);
    }
    json["hex"] = digits;
    return json;
}

}  // namespace

RegisterReading::RegisterReading(const reg_def &reg_read, RegisterBytes answer)
    : reg(&reg_read), value(reg_read.length == 1 ? value_of_bytes(answer) : 0) {
    bytes = std::move(answer.bytes);
}

std::string register_text(const Chip &chip, const RegisterReading &reading) {
    const reg_def &reg = *reading.reg;
    const std::string name = fmt::format("{}.{} ({})", chip.label, register_name(reg),
                                         hex(reg.offset, offset_bits(*chip.node)));
    if (reg.length != 1) {
        return fmt::format("{}: {} bytes\n{}", name, reading.bytes.size(), hex_dump(reading.bytes));
    }
    std::string text = fmt::format("{} = {}\n", name, hex(reading.value, reg.size));
    for (const DecodedField &decoded : decode_fields(reg, reading.value)) {
        text += fmt::format("  {:>5}  {} = {}\n", range_text(decoded.field.low, decoded.field.high),
                            decoded.field.name, value_text(decoded));
    }
    return text;
}

std::string field_text(const Target &target, const RegisterReading &reading) {
    return fmt::format("{} = {}\n", target.name(),
                       value_text(decode_field(*target.field, reading.value)));
}

Json register_json(const RegisterReading &reading, const Field *only) {
    const reg_def &reg = *reading.reg;
    Json json = json_reference(reg);
    json["bits"] = reg.size;
    json["length"] = reg.length;
    if (reg.length != 1) {
        json.update(bytes_json(reading.bytes));
        return json;
    }
    put_value(json, reading.value, reg.size);
    json["fields"] = Json::array();
    if (only != nullptr) {
        json["fields"].push_back(json_of(decode_field(*only, reading.value)));
        return json;
    }
    for (const DecodedField &decoded : decode_fields(reg, reading.value)) {
        json["fields"].push_back(json_of(decoded));
    }
    return json;
}

std::string hex_dump(const std::vector<std::uint8_t> &bytes) {
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += kDumpWidth) {
        const std::size_t end = std::min(start + kDumpWidth, bytes.size());
        std::string numbers;
        std::string characters;
        for (std::size_t i = start; i < end; ++i) {
            const auto character = static_cast<char>(bytes[i]);
            numbers += fmt::format(" {:02x}", bytes[i]);
            characters += is_printable(character) ? character : '.';
        }
        text += fmt::format("{:08x} {:<{}}  |{}|\n", start, numbers, 3 * kDumpWidth, characters);
    }
    return text;
}

}  // namespace diag::diagctl
