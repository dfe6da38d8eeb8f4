// SPDX-License-Identifier: MIT
#include "diags/board/sim/board_file.h"

#include <filesystem>

#include "diags/board/sim/json_element.h"

namespace diag::board::sim {
namespace {

using Kind = RegisterSetting::Kind;

constexpr uint32_t kMaxDelayMs = 60'000;

void read_text_units(const JsonElement &element, RegisterSetting *setting) {
    setting->kind = Kind::kText;
    setting->units.clear();
    for (char c : element.text()) {
        setting->units.push_back(static_cast<unsigned char>(c));
    }
}

// Whether the numbers fit is settled when the register's width is known.
void read_units(const JsonElement &element, RegisterSetting *setting) {
    if (!element.value().is_array()) {
        setting->kind = Kind::kNumber;
        setting->units = {element.number(UINT32_MAX)};
        return;
    }
    setting->kind = Kind::kList;
    for (const JsonElement &item : element.items()) {
        setting->units.push_back(item.number(UINT32_MAX));
    }
}

RegisterSetting read_register(const std::string &name, const JsonElement &element) {
    RegisterSetting setting;
    setting.place = element.place();
    setting.name = name;
    if (!element.value().is_object()) {
        read_units(element, &setting);
        return setting;
    }
    const auto once = [&setting](const JsonElement &part) {
        if (setting.kind != Kind::kNone) {
            part.fail("\"value\" and \"text\" exclude each other");
        }
    };
    element.members({
        {"value",
         [&](const JsonElement &part) {
             once(part);
             read_units(part, &setting);
         }},
        {"text",
         [&](const JsonElement &part) {
             once(part);
             read_text_units(part, &setting);
         }},
        {"stuck_high",
         [&](const JsonElement &part) { setting.stuck_high = part.number(UINT32_MAX); }},
        {"stuck_low",
         [&](const JsonElement &part) { setting.stuck_low = part.number(UINT32_MAX); }},
    });
    if ((setting.stuck_high & setting.stuck_low) != 0) {
        element.fail("a bit cannot be stuck high and low at once");
    }
    return setting;
}

ChipSetting read_chip(const std::string &name, const JsonElement &element) {
    ChipSetting chip;
    chip.place = element.place();
    chip.name = name;
    element.members({
        {"no_answer", [&](const JsonElement &part) { chip.no_answer = part.boolean(); }},
        {"delay_ms", [&](const JsonElement &part) { chip.delay_ms = part.number(kMaxDelayMs); }},
        {"registers",
         [&](const JsonElement &part) {
             part.each_member([&](const std::string &key, const JsonElement &item) {
                 chip.registers.push_back(read_register(key, item));
             });
         }},
    });
    return chip;
}

}  // namespace

BoardFile parse_board_file(const std::string &path, const std::string &text) {
    const Json json = parse_json(path, text);
    const JsonElement root(path, json, "");
    BoardFile file;
    file.path = path;
    root.members({
        {"description",
         [&](const JsonElement &part) {
             if (part.text().empty()) {
                 part.fail("expected the path of a board description");
             }
             const auto folder = std::filesystem::path(path).parent_path();
             file.description = (folder / part.text()).string();
         }},
        {"chips",
         [&](const JsonElement &part) {
             part.each_member([&](const std::string &name, const JsonElement &chip) {
                 file.chips.push_back(read_chip(name, chip));
             });
         }},
        {"nvram",
         [&](const JsonElement &part) {
             part.members({
                 {"verbosity_override",
                  [&](const JsonElement &item) { file.verbosity_override = item.boolean(); }},
                 {"verbosity",
                  [&](const JsonElement &item) { file.verbosity = item.signed_number(); }},
             });
         }},
    });
    if (file.description.empty()) {
        root.fail("the key \"description\" is missing");
    }
    return file;
}

}  // namespace diag::board::sim
