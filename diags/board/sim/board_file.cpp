// SPDX-License-Identifier: MIT
#include "diags/board/sim/board_file.h"

#include <algorithm>
#include <filesystem>

#include "diags/board/sim/json_element.h"

namespace diag::board::sim {
namespace {

using Kind = RegisterSetting::Kind;

constexpr uint32_t kMaxDelayMs = 60'000;
constexpr uint32_t kMaxRegionSize = 1024 * 1024;  // bytes; the state takes six for each
constexpr uint32_t kMaxOemNumber = 0xFFFF;
constexpr uint64_t kMaxLpcAddress = UINT32_MAX;
constexpr uint64_t kMaxMemoryAddress = UINT64_MAX - kMaxRegionSize;  // so that no end wraps

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

RegionSetting read_region(BusKind kind, const JsonElement &element) {
    RegionSetting region;
    region.kind = kind;
    const bool is_lpc = kind == BusKind::kLpc;
    bool has_address = false;
    element.members({
        {"address",
         [&](const JsonElement &part) {
             region.address = part.wide_number(is_lpc ? kMaxLpcAddress : kMaxMemoryAddress);
             has_address = true;
         }},
        {"size", [&](const JsonElement &part) { region.size = part.number(kMaxRegionSize); }},
        {"bytes",
         [&](const JsonElement &part) {
             for (const JsonElement &item : part.items()) {
                 region.bytes.push_back(static_cast<uint8_t>(item.number(UINT8_MAX)));
             }
         }},
    });
    if (!has_address || region.size == 0) {
        element.fail(has_address ? "expected a \"size\" of at least 1"
                                 : "the key \"address\" is missing");
    }
    if (region.bytes.size() > region.size) {
        element.fail(std::to_string(region.bytes.size()) + " bytes given, the size is " +
                     std::to_string(region.size));
    }
    if (is_lpc && region.address + region.size - 1 > kMaxLpcAddress) {
        element.fail("ends above the last address, 0xffffffff");
    }
    return region;
}

void read_regions(BusKind kind, const JsonElement &list, std::vector<RegionSetting> *regions) {
    for (const JsonElement &item : list.items()) {
        regions->push_back(read_region(kind, item));
    }
}

void read_gpio_chip(const std::string &name, const JsonElement &lines,
                    std::vector<GpioSetting> *gpio) {
    const uint32_t chip = lines.key_number(name, UINT32_MAX);
    lines.each_member([&](const std::string &key, const JsonElement &level) {
        gpio->push_back({chip, level.key_number(key, UINT32_MAX), level.number(1) != 0});
    });
}

SlotSetting read_slot(const std::string &key, const JsonElement &element) {
    SlotSetting slot;
    slot.place = element.place();
    slot.number = element.key_number(key, UINT32_MAX);
    slot.is_present = true;
    element.members({
        {"present", [&](const JsonElement &part) { slot.is_present = part.boolean(); }},
        {"card_type",
         [&](const JsonElement &part) {
             slot.card_type = static_cast<uint8_t>(part.number(UINT8_MAX));
         }},
    });
    return slot;
}

void read_slots(const JsonElement &element, std::vector<SlotSetting> *slots) {
    element.each_member([&](const std::string &key, const JsonElement &item) {
        SlotSetting slot = read_slot(key, item);
        const auto number = slot.number;
        if (std::ranges::find(*slots, number, &SlotSetting::number) != slots->end()) {
            item.fail("slot " + std::to_string(number) + " stands twice in the file");
        }
        slots->push_back(std::move(slot));
    });
}

void read_nvram(const JsonElement &element, BoardFile *file) {
    element.members({
        {"verbosity_override",
         [&](const JsonElement &item) { file->verbosity_override = item.boolean(); }},
        {"verbosity", [&](const JsonElement &item) { file->verbosity = item.signed_number(); }},
    });
}

void read_broker_faults(const JsonElement &element, BrokerFaults *faults) {
    constexpr uint32_t kMaxPercent = 100;
    const auto percent = [](uint32_t *number) {
        return [number](const JsonElement &part) { *number = part.number(kMaxPercent); };
    };
    element.members({
        {"lose", percent(&faults->lose)},
        {"double", percent(&faults->double_percent)},
        {"corrupt", percent(&faults->corrupt)},
        {"reorder", percent(&faults->reorder)},
        {"late", percent(&faults->late)},
        {"late_ms",
         [faults](const JsonElement &part) { faults->late_ms = part.number(kMaxDelayMs); }},
        {"refuse", percent(&faults->refuse)},
        {"silent", [faults](const JsonElement &part) { faults->silent = part.boolean(); }},
        {"seed", [faults](const JsonElement &part) { faults->seed = part.number(UINT32_MAX); }},
    });
}

std::string read_description_path(const JsonElement &element, const std::string &board_path) {
    if (element.text().empty()) {
        element.fail("expected the path of a board description");
    }
    return (std::filesystem::path(board_path).parent_path() / element.text()).string();
}

}  // namespace

BoardFile parse_board_file(const std::string &path, const std::string &text) {
    const Json json = parse_json(path, text);
    const JsonElement root(path, json, "");
    BoardFile file;
    file.path = path;
    root.members({
        {"description",
         [&](const JsonElement &part) { file.description = read_description_path(part, path); }},
        {"chips",
         [&](const JsonElement &part) {
             part.each_member([&](const std::string &name, const JsonElement &chip) {
                 file.chips.push_back(read_chip(name, chip));
             });
         }},
        {"lpc", [&](const JsonElement &part) { read_regions(BusKind::kLpc, part, &file.regions); }},
        {"memory",
         [&](const JsonElement &part) { read_regions(BusKind::kMemory, part, &file.regions); }},
        {"gpio",
         [&](const JsonElement &part) {
             part.each_member([&](const std::string &name, const JsonElement &lines) {
                 read_gpio_chip(name, lines, &file.gpio);
             });
         }},
        {"oem_registers",
         [&](const JsonElement &part) {
             part.each_member([&](const std::string &key, const JsonElement &value) {
                 file.oem_registers.push_back(
                     {value.key_number(key, kMaxOemNumber), value.number(UINT32_MAX)});
             });
         }},
        {"slots", [&](const JsonElement &part) { read_slots(part, &file.slots); }},
        {"nvram", [&](const JsonElement &part) { read_nvram(part, &file); }},
        {"broker",
         [&](const JsonElement &part) {
             part.members({{"faults", [&](const JsonElement &faults) {
                                read_broker_faults(faults, &file.broker_faults);
                            }}});
         }},
    });
    if (file.description.empty()) {
        root.fail("the key \"description\" is missing");
    }
    return file;
}

}  // namespace diag::board::sim
