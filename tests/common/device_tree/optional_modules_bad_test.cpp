// SPDX-License-Identifier: MIT
// Optional-module blocks that are malformed, do not fit the rest of the file, or end early.
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include "diag_util.h"

#include "tests/common/device_tree/optional_modules_test.h"

namespace diag::test {
namespace {

using BadModules = OptionalModulesTest;

constexpr uint32_t kBadRegisters = 0xFFFFFFFFU;

const Messages kMissingTypes = {{0, "No of cardtypes missing in config file\n"}};
const Messages kInconsistentBlock = {{0, "Inconsistent config for Optional modules\n"}};
const Messages kInconsistentSlot = {{0, "Inconsistent config file\n"}};
const Messages kNoInterface = {{0, "Interface not supported yet\n"}};
const Messages kNoPosition =
    error_in("update_iom_tree", "File position cannot be set to the requested position\n");

Messages counts(int slots, int card_types) {
    return {{2, "This platform supports " + std::to_string(slots) + " optional modules and " +
                    std::to_string(card_types) + " card types\n"}};
}

const Messages kCardId = {{1, "CARD_ID_REG\n"}, {1, "0x5 Cardid reg\n"}};

const Messages kPresent = {{1, "Presence Reg 0x100 bit 0\n"}, {1, "Slot 1 is present \n"}};

// ---- counts that cannot be read ----

struct CountCase {
    const char *name;
    const char *lines;
    Messages messages;
};

const CountCase kCounts[] = {
    {"NoColon", "OPTIONAL_MODULE_SUPPORT\n", kInconsistentBlock},
    {"NothingBehind", "OPTIONAL_MODULE_SUPPORT:\n", kInconsistentBlock},
    {"Blank", "OPTIONAL_MODULE_SUPPORT: 1\n", kInconsistentBlock},
    {"Letter", "OPTIONAL_MODULE_SUPPORT:a\n", kInconsistentBlock},
    {"BelowZero", "OPTIONAL_MODULE_SUPPORT:-1\n", kInconsistentBlock},
    {"CharacterBehindNine", "OPTIONAL_MODULE_SUPPORT::1\n", kInconsistentBlock},
    {"CharacterBeforeZero", "OPTIONAL_MODULE_SUPPORT:/\n", kInconsistentBlock},
    {"HighCharacter", "OPTIONAL_MODULE_SUPPORT:\xb1\n", kInconsistentBlock},
    {"AnotherLine", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPES:1\n", kMissingTypes},
    {"BlankBeforeTheLine", "OPTIONAL_MODULE_SUPPORT:1\n CARD_TYPE_SUPPORT:1\n", kMissingTypes},
    {"NoTypes", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT:0\n", kMissingTypes},
    {"NoColonOfTypes", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT 1\n", kMissingTypes},
    {"NothingBehindTypes", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT:\n", kMissingTypes},
    {"BlankTypes", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT: 1\n", kMissingTypes},
    {"LetterOfTypes", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT:x\n", kMissingTypes},
    {"TypesBelowZero", "OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT:-1\n", kMissingTypes},
};

class BadCounts : public OptionalModulesTest, public testing::WithParamInterface<CountCase> {};

// Loading goes on with the header behind the line that was wrong.
TEST_P(BadCounts, KeepTheChipsOfTheFile) {
    const std::string text = GetParam().lines + ("more header\n" + chip_and_sections(1));
    const TextLoad load(text);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"chip"}));
    EXPECT_EQ(logged_for_modules(text), GetParam().messages);
    EXPECT_TRUE(tools_.calls().empty());
}

INSTANTIATE_TEST_SUITE_P(All, BadCounts, testing::ValuesIn(kCounts),
                         [](const auto &count) { return count.param.name; });

// The delimiter that ends the block early belongs to it: what follows is header still.
TEST_F(BadModules, ADelimiterInPlaceOfTheTypesIsUsedUp) {
    const std::string text =
        "OPTIONAL_MODULE_SUPPORT:1\n=====\n" + chip_line("a") + "=====\n" + chip_line("b");
    const TextLoad load(text);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"b"}));
    EXPECT_EQ(logged_for_modules(text), kMissingTypes);
}

TEST_F(BadModules, ADelimiterInPlaceOfASlotIsUsedUp) {
    tools_.presence(0x100, 1);
    const std::string text = slots_header(2, 1) + slot_line("100", "0", "one", "51") + "=====\n" +
                             chip_line("a") + "=====\n" + chip_line("b");
    const TextLoad load(text);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"b"}));
    EXPECT_EQ(logged_for_modules(text).back(),
              (Message{0, "Not all information about IOM slots available in config file\n"}));
}

// ---- slot lines that cannot be read ----

struct SlotCase {
    const char *name;
    const char *line;
    Messages messages;
    bool asked;  // for the presence
};

const Messages kNoFormat = error_in("parse_device_config", "Config format error\n");

Messages invalid_card(const std::string &letter) {
    return kPresent + Messages{{1, "Invalid entry in device list: " + letter + " \n"}};
}

const SlotCase kSlots[] = {
    {"NoSlot", "Card|LPC|100|0:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"LowerCaseSlot", "slot|LPC|100|0:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"CutSlot", "Slo|LPC|100|0:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"BlankSlot", " |LPC|100|0:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"NoInterface", "Slot:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"AnotherInterface", "Slot|GPIO|100|0:C| FPGA|51|n|i2c|3", kNoInterface, false},
    {"LowerCaseInterface", "Slot|lpc|100|0:C| FPGA|51|n|i2c|3", kNoInterface, false},
    {"BlankInterface", "Slot| |100|0:C| FPGA|51|n|i2c|3", kNoInterface, false},
    {"AnotherInterfaceAlone", "Slot|GPIO", kNoInterface, false},
    {"NoRegister", "Slot|LPC:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"NoRegisterButAnEnd", "Slot|LPC|:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"NoBit", "Slot|LPC|100:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"NoBitButAnEnd", "Slot|LPC|100|:C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"OnlyAColon", ":C| FPGA|51|n|i2c|3", kInconsistentSlot, false},
    {"ControlByte", "\x01", kInconsistentSlot, false},
    {"NoCard", "Slot|LPC|100|0", invalid_card(""), true},
    {"EmptyCard", "Slot|LPC|100|0:", invalid_card(""), true},
    {"AnotherCard", "Slot|LPC|100|0:R|10", invalid_card("R"), true},
    {"CardWithoutLocation", "Slot|LPC|100|0:C| FPGA|51|n|i2c", kPresent + kNoFormat, true},
    {"CardWithABadMux", "Slot|LPC|100|0:C| FPGA|51|n|i2c|3|bmc-1 1:2",
     kPresent + Messages{{1, "Invalid MUX specification. Expecting a Mux mask\n"}}, true},
};

class BadSlot : public OptionalModulesTest, public testing::WithParamInterface<SlotCase> {};

TEST_P(BadSlot, EndsTheBlockAndKeepsTheChipsOfTheFile) {
    tools_.presence(0x100, 0);
    const std::string text =
        slots_header(1, 1) + GetParam().line + "\nmore header\n" + chip_and_sections(1);
    TextLoad load(text);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names().back(), "chip");
    EXPECT_EQ(load.chips(), GetParam().asked ? 2U : 1U) << "a card that failed stays in the tree";
    EXPECT_EQ(offsets_of(load.chip(load.chips() - 1)), (Offsets{1}));
    EXPECT_EQ(tools_.calls().size(), GetParam().asked ? 1U : 0U);
    EXPECT_EQ(logged_for_modules(text), counts(1, 1) + kCardId + GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(All, BadSlot, testing::ValuesIn(kSlots),
                         [](const auto &slot) { return slot.param.name; });

// Line by line, the file ends: `lines` of the block are there.
TEST_F(BadModules, EndingBehindALineAreTold) {
    tools_.presence(0x100, 1);
    struct Case {
        const char *text;
        uint32_t status;
        Messages messages;
    };
    const Messages empty_slot = {{1, "Presence Reg 0x100 bit 0\n"},
                                 {1, "Slot 1 is not present \n"}};
    const Messages reached_eof = {{0, "Reached EOF\n"}};
    std::string text;
    for (const Case &line :
         {Case{"header\n\n", 0, {}},
          {"OPTIONAL_MODULE_SUPPORT:2\n\n", DIAG_E_INVAL, {{0, "Unable to read file\n"}}},
          {"CARD_TYPE_SUPPORT:1\n", DIAG_E_INVAL, counts(2, 1) + reached_eof},
          {"CARD_ID_REG:5\n\n", DIAG_E_INVAL, counts(2, 1) + kCardId + reached_eof},
          {"Slot|LPC|100|0:C\n", DIAG_E_INVAL, counts(2, 1) + kCardId + empty_slot + reached_eof},
          {"Slot|LPC|100|0:C\n", DIAG_E_INVAL,
           counts(2, 1) + kCardId + empty_slot +
               Messages{{1, "Presence Reg 0x100 bit 0\n"}, {1, "Slot 2 is not present \n"}} +
               kInconsistentBlock}}) {
        text += line.text;
        for (const std::string &end : {text, text.substr(0, text.size() - 1)}) {
            const TextLoad load(end);
            EXPECT_EQ(load.status, line.status) << end;
            EXPECT_EQ(load.chips(), 0U);
            EXPECT_EQ(logged_for_modules(end), line.messages) << end;
        }
    }
}

// Byte by byte: what is loaded and answered changes at the places given, and nowhere else.
TEST_F(BadModules, CutBehindAnyByte) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    tools_.card(0x52, 1);
    struct Part {
        const char *text;
        uint32_t status;  // from the end of the text on
        size_t chips;
    };
    constexpr uint32_t kBad = 0xFFFFFFFFU;
    constexpr Part kParts[] = {
        {"", 0, 0},
        {"OPTIONAL_MODULE_SUPPORT", DIAG_E_INVAL, 0},
        {":2\nCARD_TYPE_SUPPORT:1\nCARD_ID_REG:5|\nSlot|LPC|100|0", DIAG_E_INVAL, 1},
        {":C| FPGA|51|a|i2c|3\nSlot|LPC|100|0", DIAG_E_INVAL, 2},
        {":C| FPGA|52|b|i2c|3\n=====\nC", kBad, 3},
        {"| CPLD|40|c|lpc|0", DIAG_E_INVAL, 3},
        {"\n=", DIAG_E_FAIL, 3},  // a line of the block
        {"====", DIAG_E_INVAL, 3},
        {"\nI", kBad, 4},
        {"OMTYPE", 0, 3},
        {"1\nR|10|8\n", 0, 3},
    };
    std::string text;
    for (const Part &part : kParts) {
        text += part.text;
    }
    size_t length = 0;
    size_t next_change = 0;
    const Part *current = kParts;
    for (const Part &part : kParts) {
        next_change += std::string(part.text).size();
        for (; length < next_change; length++) {
            const TextLoad load(text.substr(0, length));
            EXPECT_EQ(load.status, current->status) << text.substr(0, length);
            EXPECT_EQ(load.chips(), current->chips) << text.substr(0, length);
        }
        current = &part;
    }
    TextLoad whole(text);
    EXPECT_EQ(whole.status, 0U);
    EXPECT_EQ(offsets_of(whole.chip(0)), (Offsets{0x10}));
    EXPECT_EQ(offsets_of(whole.chip(1)), (Offsets{0x10}));
    EXPECT_EQ(whole.chip(2)->reg_list, nullptr);
}

// ---- behind the slot lines: the reader goes back there whatever fails ----

struct BehindCase {
    const char *name;
    int card_types;
    uint8_t type;
    const char *sections;
    uint32_t status;
    Messages messages;  // behind the one that the card is read
    size_t registers;   // of the card
};

const Messages kList = {{1, "List of available iom modules\n"}};

const BehindCase kBehind[] = {
    {"NoSections", 1, 1, "", DIAG_E_INVAL, kInconsistentBlock, 0},
    {"OneSectionTooFew", 2, 1, "IOMTYPE1\nR|1\n", DIAG_E_INVAL, kInconsistentBlock, 0},
    {"OneSectionTooMany", 1, 1, "IOMTYPE1\nR|1\n=====\nIOMTYPE2\n", DIAG_E_INVAL,
     kInconsistentBlock, 0},
    {"ManySectionsTooMany", 1, 1,
     "IOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\n",
     DIAG_E_INVAL, kInconsistentBlock, 0},
    {"SectionsThatAreNone", 1, 1, "iomtype1\n IOMTYPE1\nIOMTYP\n", DIAG_E_INVAL, kInconsistentBlock,
     0},
    {"TypeAboveTheTypes", 1, 2, "IOMTYPE1\nR|1\n", DIAG_E_FAIL, kList + kNoPosition, 0},
    {"HighestType", 1, 255, "IOMTYPE1\nR|1\n", DIAG_E_FAIL, kList + kNoPosition, 0},
    {"HighestTypeOfNine", 9, 10,
     "IOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\nIOMTYPE\n",
     DIAG_E_FAIL, kList + kNoPosition, 0},
    {"UnknownLineInASection", 1, 1, "IOMTYPE1\nR|1\nX\nR|2\n", kBadRegisters,
     kList + Messages{{1, "Invalid specification. Expecting a Register or Bit Definition\n"}} +
         error_in("update_iom_tree", "Could not load the IOM Registers\n"),
     1},
    {"ChipInASection", 1, 1, "IOMTYPE1\nC| FPGA|1|n|i2c|3\n", kBadRegisters,
     kList + Messages{{1, "Invalid specification. Expecting a Register or Bit Definition\n"}} +
         error_in("update_iom_tree", "Could not load the IOM Registers\n"),
     0},
    {"BitWithoutARegister", 1, 1, "IOMTYPE1\nB|1|b\n", kBadRegisters,
     kList + error_in("parse_reg_config", "Bit definition without a register\n") +
         error_in("update_iom_tree", "Could not load the IOM Registers\n"),
     0},
    {"WrongMask", 1, 1, "IOMTYPE1\nR|1|8|1|n| RW |0|1\nB|0|b| RO |0\n", kBadRegisters,
     kList + Messages{{0, "Wrong mask value for the bitrange 0 register 0x1 in config\n"}} +
         error_in("update_iom_tree", "Could not load the IOM Registers\n"),
     1},
};

class BadSections : public OptionalModulesTest, public testing::WithParamInterface<BehindCase> {
  protected:
    void SetUp() override {
        OptionalModulesTest::SetUp();
        tools_.presence(0x100, 0);
        tools_.card(0x51, GetParam().type);
    }
    static std::string text() {
        return slots_header(1, GetParam().card_types) + slot_line("100", "0", "one", "51") +
               "=====\n" + chip_line("chip") + "R|77\n=====\n" + chip_line("last") + "=====\n" +
               GetParam().sections;
    }
};

TEST_P(BadSections, KeepTheCardAndTheChipsOfTheFile) {
    // Lines that are no section are read as chips, which fails in a way of its own.
    const bool has_sections = std::string(GetParam().sections).starts_with("IOM");
    errno = EXDEV;
    TextLoad load(text());
    if (has_sections || GetParam().sections[0] == '\0') {
        EXPECT_EQ(load.status, GetParam().status);
        EXPECT_EQ(load.names(), (Names{"one", "chip", "last"}));
    } else {
        EXPECT_EQ(load.status, 0xFFFFFFFFU);
    }
    EXPECT_EQ(offsets_of(load.chip(0)).size(), GetParam().registers);
    EXPECT_EQ(offsets_of(load.chip(1)), (Offsets{0x77}));
}

TEST_P(BadSections, AreTold) {
    const Messages expected = counts(1, GetParam().card_types) + kCardId + kPresent +
                              Messages{{3, "Setting Mux for access to Device \n"},
                                       {1, "Reading I2C device 0x51 reg 0x5\n"}} +
                              GetParam().messages;
    Messages logged = logged_for_modules(text());
    ASSERT_GE(logged.size(), expected.size());
    logged.resize(expected.size());
    EXPECT_EQ(logged, expected);
}

INSTANTIATE_TEST_SUITE_P(All, BadSections, testing::ValuesIn(kBehind),
                         [](const auto &behind) { return behind.param.name; });

// Without a card that was read the sections are counted all the same.
TEST_F(BadModules, SectionsAreCountedWithoutACard) {
    tools_.presence(0x100, 1);
    const TextLoad load(slots_header(1, 2) + slot_line("100", "0", "one", "51") +
                        chip_and_sections(1));
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"chip"}));
}

TEST_F(BadModules, CardsBehindOneThatFailedGetNothing) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    tools_.card(0x52, 9);
    tools_.card(0x53, 1);
    TextLoad load(slots_header(3, 1) + slot_line("100", "0", "one", "51") +
                  slot_line("100", "1", "two", "52") + slot_line("100", "2", "three", "53") +
                  chip_and_sections(1));
    EXPECT_EQ(load.status, DIAG_E_FAIL);
    ASSERT_EQ(load.names(), (Names{"one", "two", "three", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x12}));
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
    EXPECT_EQ(load.chip(2)->reg_list, nullptr);
}

// ---- several blocks, and failures behind a block ----

TEST_F(BadModules, AFailureStaysWhenALaterBlockSucceeds) {
    tools_.presence(0x100, 1);
    const std::string good = slots_header(1, 1) + slot_line("100", "0", "one", "51");
    EXPECT_EQ(TextLoad("OPTIONAL_MODULE_SUPPORT:x\n" + good + chip_and_sections(1)).status,
              DIAG_E_INVAL);
    EXPECT_EQ(TextLoad(good + "OPTIONAL_MODULE_SUPPORT:x\n" + chip_and_sections(1)).status,
              DIAG_E_INVAL);
    EXPECT_EQ(TextLoad(good + good + chip_and_sections(1)).status, 0U);
    EXPECT_EQ(TextLoad("OPTIONAL_MODULE_SUPPORT:x\n" + good + "=====\n" + chip_line("a") +
                       "=====\nIOMTYPE1\n")
                  .status,
              DIAG_E_INVAL)
        << "also where a section ends the chips";
}

TEST_F(BadModules, AFailureOfTheFileHidesThatOfABlock) {
    const std::string bad = "OPTIONAL_MODULE_SUPPORT:x\n=====\n";
    EXPECT_EQ(TextLoad(bad + "X\n").status, 0xFFFFFFFFU);
    EXPECT_EQ(TextLoad(bad + chip_line("a") + "X\n").status, DIAG_E_FAIL);
}

// ---- a file without positions ----

TEST_F(BadModules, AFifoCannotBeWoundBack) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    const TemporaryFolder folder;
    const std::string path = folder.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const std::string text =
        slots_header(1, 1) + slot_line("100", "0", "one", "51") + chip_and_sections(1);
    std::thread writer([&] {
        const UniqueFd end(open(path.c_str(), O_WRONLY | O_CLOEXEC));
        EXPECT_EQ(write(end.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    });
    TextLoad load;
    const std::string logged = text_logged_by([&] { load.from_path(path.c_str(), 0); }, -1);
    writer.join();
    EXPECT_EQ(load.status, DIAG_E_FAIL | static_cast<uint32_t>(ESPIPE));
    EXPECT_EQ(load.names(), (Names{"one"}));
    EXPECT_EQ(logged,
              "update_iom_tree[]: File position cannot be set to the requested position\n"
              "load_iom_tree[]: Could not set file to the requested position\n");
}

}  // namespace
}  // namespace diag::test
