// SPDX-License-Identifier: MIT
// Registers, bit fields and named values from the "R", "B" and "I" lines of a text description.
#include <cstring>
#include <string_view>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/field_readers.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace diag {

namespace {

constexpr char kFunction[] = "parse_reg_config";

constexpr NewRegisterMessages kNewRegister = {"Can't allocate memory for device's reg list\n",
                                              "Can't allocate memory for device's reg list\n",
                                              "Can't allocate memory for reg entry\n"};

struct AccessWord {
    std::string_view start;
    int32_t access;
};

// The start of the field as it stands, blanks included.
constexpr AccessWord kAccessWords[] = {{" RO ", DIAG_ACCESS_RO},
                                       {" RW ", DIAG_ACCESS_RW},
                                       {" RC ", DIAG_ACCESS_RC},
                                       {" WO ", DIAG_ACCESS_WO},
                                       {" RMW", DIAG_ACCESS_RMW}};

template <typename Record>
bool read_access(Record &record, const char *text) {
    record.access = DIAG_ACCESS_OTHER;
    for (const AccessWord &known : kAccessWords) {
        if (starts_with(text, known.start)) {
            record.access = known.access;
            break;
        }
    }
    return true;
}

struct LineField {
    Field<reg_def> field;
    bool trimmed = false;
};

// In the order in which they stand behind the "R".
constexpr LineField kRegisterFields[] = {
    {{"offset", read_hex<&reg_def::offset>}},
    {{"size", read_number<&reg_def::size, 10>}},
    {{"mask", read_hex<&reg_def::mask>}},
    {{"name", read_text<&reg_def::name>, "Can't allocate memory for reg name\n"}, true},
    {{"access", read_access}},
    {{"default", read_hex<&reg_def::def_val>}},
    {{"testable", read_number<&reg_def::testable, 10>}},
    {{"validate", read_number<&reg_def::validate, 10>}},
    {{"version", read_text<&reg_def::version>, "Can't allocate memory for reg version\n"}, true},
};

constexpr Field<reg_def> kTestDescription = {"test description", read_text<&reg_def::test_desc>,
                                             "Can't allocate memory for reg test description\n"};

constexpr Field<bit_def> kBitName = {"name", read_text<&bit_def::name>,
                                     "Could not Allocate Bit Name\n"};

constexpr Field<bit_info> kInfoDescription = {"description", read_text<&bit_info::desc>,
                                              "Could not allocate Info String\n"};

// What a test role has behind its number.
struct RoleFields {
    bool data;
    bool description;
};

constexpr RoleFields kRoleFields[kTestRoles] = {{true, true},  {true, false}, {true, true},
                                                {false, true}, {true, true},  {true, true}};

// The description is the rest of the line. An interrupt setup register without one has none at
// all, where the others have an empty one.
uint32_t read_test_description(reg_def &reg, int role, Fields &fields) {
    char *text = fields.rest();
    if (text == nullptr) {
        return 0;
    }
    trim_spaces(text);
    if (text[0] == '\0' && role == DIAG_TEST_INTR_SETUP) {
        return 0;
    }
    return read_field(kFunction, kTestDescription, reg, text);
}

bool names_a_role(const char *text) {
    const bool is_blank = text[std::strspn(text, " ")] == '\0';
    return !is_blank && std::strchr(text, '-') == nullptr;
}

uint32_t read_test_role(device_node &node, ListEnds &ends, reg_def &reg, Fields &fields) {
    const char *text = fields.next();
    if (text == nullptr || !names_a_role(text)) {
        return 0;
    }
    const auto role = static_cast<int>(decimal(text));
    const uint32_t status = assign_test_role(node, ends, &reg, role, 0);
    if (status != 0 || role < 0 || role >= kTestRoles) {
        return status;
    }
    if (kRoleFields[role].data) {
        if (const char *data = fields.next(); data != nullptr) {
            reg.test_data = parse_hex<uint32_t>(data);
        }
    }
    return kRoleFields[role].description ? read_test_description(reg, role, fields) : 0;
}

// A line may end early: what is not there stays 0 or null.
uint32_t read_register(device_node &node, ListEnds &ends, Fields &fields) {
    reg_def *reg = append_register(node, ends, kNewRegister);
    if (reg == nullptr) {
        return DIAG_E_NOMEM;
    }
    for (const LineField &line_field : kRegisterFields) {
        const char *text = line_field.trimmed ? fields.next_trimmed() : fields.next();
        if (text == nullptr) {
            return 0;
        }
        const uint32_t status = read_field(kFunction, line_field.field, *reg, text);
        if (status != 0) {
            return status;
        }
    }
    return read_test_role(node, ends, *reg, fields);
}

using RangeText = char[10];

// "7:4", high bit first, or one number. What does not fit the text is cut. Fields have just been
// cut out of their line: looking at single characters is faster here than what looks at many.
void read_range(bit_def &bit, const char *field, RangeText &range) {
    const char *low = nullptr;
    size_t length = 0;
    for (; length < sizeof range - 1 && field[length] != '\0'; length++) {
        range[length] = field[length];
        if (low == nullptr && range[length] == ':') {
            low = range + length + 1;
        }
    }
    range[length] = '\0';
    bit.end = static_cast<int32_t>(decimal(range));
    bit.start = low == nullptr ? bit.end : static_cast<int32_t>(decimal(low));
}

bool names_major_version(const char *name) {
    for (; *name != '\0'; name++) {
        if (starts_with(name, "MAJOR_VER")) {
            return true;
        }
    }
    return false;
}

uint32_t read_bit_fields(bit_def &bit, Fields &fields, RangeText &range) {
    if (const char *text = fields.next(); text != nullptr) {
        read_range(bit, text, range);
    }
    if (const char *text = fields.next_trimmed(); text != nullptr) {
        bit.major_ver = names_major_version(text) ? 1 : 0;
        if (const uint32_t status = read_field(kFunction, kBitName, bit, text); status != 0) {
            return status;
        }
    }
    if (const char *text = fields.next(); text != nullptr) {
        read_access(bit, text);
    }
    if (const char *text = fields.rest(); text != nullptr) {
        bit.def_val = parse_hex<uint32_t>(text);
    }
    return 0;
}

// The check looks at bit 0 alone: (1 << bit) & mask is 1 for no other. Existing descriptions pass
// because of that, so it stays.
bool has_wrong_mask(const reg_def &reg, const bit_def &bit) {
    return reg.testable != 0 && reg.access == DIAG_ACCESS_RW && bit.access == DIAG_ACCESS_RO &&
           bit.start <= 0 && bit.end >= 0 && (reg.mask & 1) == 1;
}

uint32_t read_bit(Fields &fields) {
    if (cursors.reg == nullptr) {
        DIAG_ERROR_IN(kFunction, "Bit definition without a register\n");
        return DIAG_E_INVAL;
    }
    reg_def &reg = *cursors.reg;
    bit_def *bit = append_bit(
        kFunction, reg, cursors.bit_owner == &reg && reg.bits != nullptr ? cursors.bit : nullptr);
    if (bit == nullptr) {
        return DIAG_E_NOMEM;
    }
    RangeText range = "";
    if (const uint32_t status = read_bit_fields(*bit, fields, range); status != 0) {
        return status;
    }
    DIAG_CONFIG_DEBUG(2, "DEBUG: s : %d e : %d %s %d %#x\n", bit->start, bit->end,
                      bit->name != nullptr ? bit->name : "", bit->access, bit->def_val);
    if (has_wrong_mask(reg, *bit)) {
        diag_print(0, "Wrong mask value for the bitrange %s register 0x%x in config\n", range,
                   reg.offset);
        return 0xFFFFFFFFU;
    }
    return 0;
}

uint32_t read_info(Fields &fields) {
    if (cursors.bit == nullptr) {
        DIAG_ERROR_IN(kFunction, "Information without a bit definition\n");
        return DIAG_E_INVAL;
    }
    bit_def &bit = *cursors.bit;
    bit_info *info = append_info(
        bit, cursors.info_owner == &bit && bit.infos != nullptr ? cursors.info : nullptr);
    if (info == nullptr) {
        DIAG_ERROR_IN(kFunction, "Can't allocate memory for Bit Info\n");
        return DIAG_E_NOMEM;
    }
    if (const char *text = fields.next(); text != nullptr) {
        info->value = parse_hex<uint32_t>(text);
    }
    char *text = fields.rest();
    if (text == nullptr) {
        return 0;
    }
    trim_spaces(text);
    return read_field(kFunction, kInfoDescription, *info, text);
}

}  // namespace

uint32_t read_register_line(device_node &node, ListEnds &ends, char *line) {
    const char kind = line[0];
    Fields fields(line, '|');
    fields.next();  // the letter
    switch (kind) {
        case 'R':
            return read_register(node, ends, fields);
        case 'B':
            return read_bit(fields);
        case 'I':
            return read_info(fields);
        default:
            diag_print(1, "Invalid specification. Expecting a Register or Bit Definition\n");
            return DIAG_E_INVAL;
    }
}

}  // namespace diag

uint32_t parse_reg_config(char *line, device_node *node, int is_xml, xmlNode *xml_reg) {
    diag::ListEnds ends;
    if (is_xml != 0) {
        return diag::read_register_xml(*node, ends, xml_reg);
    }
    diag::cut_line_end(line);
    return diag::read_register_line(*node, ends, line);
}
