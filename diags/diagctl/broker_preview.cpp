// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_preview.h"

#include <fmt/format.h>

#include "diags/diagctl/broker_route.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

std::string bytes_text(const BrokerRoute &route, std::uint32_t value) {
    std::string text;
    for (const std::uint8_t byte : bytes_of_value(value, route.count(), route.order())) {
        text += fmt::format("{}{:02x}", text.empty() ? "" : ",", byte);
    }
    return text;
}

}  // namespace

std::vector<PreviewStep> preview_broker_write(const WritePlan &plan) {
    using broker::kReadRequest, broker::kWriteRequest;
    const reg_def &reg = *plan.target.reg;
    const BrokerRoute route(*plan.target.chip, reg);
    std::vector<PreviewStep> steps;
    const std::string write = route.text(kWriteRequest, broker::kLast);
    if (plan.target.field) {
        const Field &field = *plan.target.field;
        steps.push_back({"read", route.text(kReadRequest, broker::kFirst), false});
        steps.push_back({"write",
                         fmt::format("{}: that value with bits {} changed to {}", write,
                                     hex(field_mask(field), reg.size),
                                     hex(insert(field, 0, plan.value), reg.size)),
                         false});
    } else {
        steps.push_back(
            {"write", fmt::format("{}: {}", write, bytes_text(route, plan.value)), false});
    }
    if (plan.compared_bits != 0) {
        steps.push_back({"compare",
                         fmt::format("{}, bits {}", route.text(kReadRequest, broker::kLast),
                                     hex(plan.compared_bits, reg.size)),
                         false});
    }
    return steps;
}

}  // namespace diag::diagctl
