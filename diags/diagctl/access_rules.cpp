// SPDX-License-Identifier: MIT
#include "diags/diagctl/access_rules.h"

#include <array>
#include <fmt/format.h>
#include <vector>

#include "diags/diagctl/decode.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// A field that says nothing about its access has its register's.
std::int32_t access_of(const Field &field, const reg_def &reg) {
    const bool says = field.definition != nullptr && field.definition->access != DIAG_ACCESS_OTHER;
    return says ? field.definition->access : reg.access;
}

std::uint32_t register_mask(const reg_def &reg) {
    return bit_mask(0, static_cast<int>(reg.size) - 1);
}

// Bits of the fields whose access is one of `kinds`.
template <std::size_t N>
std::uint32_t bits_with_access(const reg_def &reg, const std::array<std::int32_t, N> &kinds) {
    std::uint32_t bits = 0;
    for (const Field &field : sorted_fields(reg)) {
        for (const std::int32_t kind : kinds) {
            bits |= access_of(field, reg) == kind ? field_mask(field) : 0;
        }
    }
    return bits;
}

std::string refusal_of_access(const std::string &name, std::int32_t access) {
    switch (access) {
        case DIAG_ACCESS_RW:
        case DIAG_ACCESS_RMW:
        case DIAG_ACCESS_WO:
            return {};
        case DIAG_ACCESS_RO:
            return name + " is read-only (RO)";
        case DIAG_ACCESS_RC:
            return name + " cannot be written, reading clears it (RC)";
        default:
            return name + " cannot be written: its description names no access";
    }
}

std::string field_refusal(const Target &target) {
    const Field &field = *target.field;
    const reg_def &reg = *target.reg;
    if (reg.access == DIAG_ACCESS_WO) {
        return fmt::format(
            "{}.{} is write-only (WO), so {} cannot be changed alone: write the "
            "whole register",
            target.chip->label, register_name(reg), field.name);
    }
    if (field.definition != nullptr) {
        return refusal_of_access(target.name(), access_of(field, reg));
    }
    // Bits named by number may lie across fields, and every one of them has a say.
    for (const Field &other : sorted_fields(reg)) {
        if ((field_mask(other) & field_mask(field)) == 0) {
            continue;
        }
        std::string refusal = refusal_of_access(other.name, access_of(other, reg));
        if (!refusal.empty()) {
            return fmt::format("{}: field {}", target.name(), refusal);
        }
    }
    return {};
}

}  // namespace

std::string write_refusal(const Target &target) {
    const std::string register_text =
        fmt::format("{}.{}", target.chip->label, register_name(*target.reg));
    std::string refusal = refusal_of_access(register_text, target.reg->access);
    if (refusal.empty() && target.field) {
        refusal = field_refusal(target);
    }
    return refusal;
}

std::string skip_reason(const reg_def &reg) {
    if (reg.access == DIAG_ACCESS_WO) {
        return "write-only";
    }
    if (reg.access == DIAG_ACCESS_RC) {
        return "reading clears it";
    }
    const std::uint32_t cleared = cleared_by_reading(reg);
    for (const Field &field : sorted_fields(reg)) {
        if ((field_mask(field) & cleared) != 0) {
            return "reading clears its field " + field.name;
        }
    }
    return {};
}

std::uint32_t cleared_by_reading(const reg_def &reg) {
    if (reg.access == DIAG_ACCESS_RC) {
        return register_mask(reg);
    }
    return bits_with_access(reg, std::array<std::int32_t, 1>{DIAG_ACCESS_RC});
}

std::uint32_t comparable_bits(const reg_def &reg) {
    constexpr std::array<std::int32_t, 3> kOneWay{DIAG_ACCESS_RO, DIAG_ACCESS_RC, DIAG_ACCESS_WO};
    return reg.mask & register_mask(reg) & ~bits_with_access(reg, kOneWay);
}

std::uint32_t modified_value(const reg_def &reg, const Field &field, std::uint32_t read_value,
                             std::uint32_t field_value) {
    constexpr std::array<std::int32_t, 1> kUnreadable{DIAG_ACCESS_WO};
    const std::uint32_t unreadable = bits_with_access(reg, kUnreadable);
    std::uint32_t kept = read_value & ~unreadable;
    for (const Field &other : sorted_fields(reg)) {
        const std::uint32_t bits = field_mask(other) & unreadable;
        const std::uint32_t usual = other.definition->def_val;
        kept |= insert(other, 0, usual) & bits;
    }
    return insert(field, kept, field_value) & register_mask(reg);
}

}  // namespace diag::diagctl
