// SPDX-License-Identifier: MIT
#include "diags/diagctl/json_view.h"

#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr int kFormat = 1;

Json json_of(const mux_entry &mux, const mux_entry &first) {
    Json json;
    json["bus"] = one_line(mux.bus != nullptr ? mux.bus : first.bus);
    json["address"] = mux.addr;
    json["address_hex"] = hex(mux.addr);
    json["register"] = mux.reg;
    json["mask"] = mux.mask;
    json["value"] = mux.val;
    return json;
}

Json json_of(const bit_info &info) {
    Json json;
    json["value"] = info.value;
    json["name"] = one_line(info.desc);
    return json;
}

Json json_of(const Field &field) {
    Json json;
    json["name"] = field.name;
    json["high"] = field.high;
    json["low"] = field.low;
    return json;
}

Json json_of_definition(const Field &field) {
    Json json = json_of(field);
    const bit_def &bit = *field.definition;
    json["access"] = access_name(bit.access);
    json["default"] = bit.def_val;
    json["major_version"] = bit.major_ver != 0;
    json["values"] = Json::array();
    for (const bit_info *info = bit.infos; info != nullptr; info = info->next) {
        json["values"].push_back(json_of(*info));
    }
    return json;
}

Json text_or_null(const char *text) {
    return text == nullptr ? Json(nullptr) : Json(one_line(text));
}

}  // namespace

Json json_document(const std::string &command) {
    Json json;
    json["format"] = kFormat;
    json["command"] = command;
    return json;
}

Json json_failure(const std::string &command, ExitStatus status, const std::string &message) {
    Json json = json_document(command);
    json["error"]["status"] = static_cast<int>(status);
    json["error"]["message"] = message;
    return json;
}

std::string json_text(const Json &document) {
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json json_of(const Chip &chip) {
    const device_node &node = *chip.node;
    Json json;
    json["name"] = chip.label;
    json["type"] = chip_type_name(node.chip_type);
    json["bus"] = bus_name(node);
    json["bus_kind"] = bus_kind_name(node.bus_type);
    json["address"] = node.address;
    json["address_hex"] = hex(node.address);
    json["identifier"] = text_or_null(node.chip_id);
    json["device_id"] = text_or_null(node.dev_id);
    json["offset_bits"] = offset_bits(node);
    json["little_endian"] = node.reg_le != 0;
    json["muxes"] = Json::array();
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        json["muxes"].push_back(json_of(*mux, *node.mux_list));
    }
    return json;
}

Json json_of(const device_node &node, const reg_def &reg) {
    Json json = json_reference(reg);
    json["bits"] = reg.size;
    json["length"] = reg.length;
    json["access"] = access_name(reg.access);
    json["default"] = reg.def_val;
    json["default_hex"] = hex(reg.def_val, reg.size);
    json["mask"] = reg.mask;
    json["mask_hex"] = hex(reg.mask, reg.size);
    json["version"] = text_or_null(reg.version);
    json["testable"] = reg.testable != 0;
    json["validate"] = reg.validate != 0;
    json["test_data"] = reg.test_data;
    json["test_description"] = text_or_null(reg.test_desc);
    json["test_roles"] = Json::array();
    for (const TestRole &role : test_roles(node, reg)) {
        json["test_roles"].push_back(role.json_name);
    }
    json["fields"] = Json::array();
    for (const Field &field : sorted_fields(reg)) {
        json["fields"].push_back(json_of_definition(field));
    }
    return json;
}

Json json_of(const DecodedField &decoded) {
    Json json = json_of(decoded.field);
    put_value(json, decoded.value,
              static_cast<unsigned>(decoded.field.high - decoded.field.low + 1));
    json["meaning"] = decoded.meaning.empty() ? Json(nullptr) : Json(decoded.meaning);
    return json;
}

Json json_reference(const reg_def &reg) {
    Json json;
    json["name"] = register_name(reg);
    json["offset"] = reg.offset;
    json["offset_hex"] = hex(reg.offset);
    return json;
}

void put_value(Json &json, std::uint32_t value, unsigned bits) {
    json["value"] = value;
    json["hex"] = hex(value, bits);
}

}  // namespace diag::diagctl
