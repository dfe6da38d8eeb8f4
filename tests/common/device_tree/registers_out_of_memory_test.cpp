// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/common/device_tree/out_of_memory_test.h"

namespace diag::test {
namespace {

// ---- registers of the XML form ----

// Reads an element that was parsed before anything fails.
std::function<uint32_t(Chip &)> reading_element(const XmlText &text) {
    return [&text](Chip &chip) { return parse_reg_config(nullptr, chip.node(), 1, text.root()); };
}

struct ChipWithARegister : Chip {
    ChipWithARegister() { read_xml("<reg/>"); }
};

// One with a register on every test list.
struct ChipWithRoles : Chip {
    ChipWithRoles() {
        read_xml(
            "<reg><reg-test-id>0</reg-test-id><reg-test-id>1</reg-test-id><reg-test-id>2"
            "</reg-test-id><reg-test-id>4</reg-test-id><reg-test-id>5</reg-test-id></reg>");
    }
};

TEST_F(OutOfMemory, FirstRegisterElement) {
    const XmlText text(R"(<reg>
      <reg-name>N</reg-name>
      <reg-test-description>D</reg-test-description>
      <reg-test-id>4</reg-test-id>
      <bit>
        <bit-range>7:4</bit-range>
        <bit-name>B</bit-name>
        <info><info-val>1</info-val><info-desc>on</info-desc></info>
        <info><info-val>2</info-val></info>
      </bit>
      <bit>
        <bit-range>1</bit-range>
      </bit>
    </reg>)");
    expect_sites<Chip>(
        kFirstXmlRegister + Sites{in_register("Could not allocate Register Name\n"),
                                  in_register("Can't allocate memory for reg test description\n"),
                                  in_bit("Could not allocate mem for Bit definition\n"),
                                  in_bit("Could not allocate space for bit range\n"),
                                  in_bit("Could not Allocate Bit Name\n"),
                                  in_info("Can't allocate memory for Bit Info\n"),
                                  in_info("Could not allocate Info String\n"),
                                  in_info("Can't allocate memory Bit Info\n"),
                                  in_bit("Can't allocate memory for bit definition\n"),
                                  in_bit("Could not allocate space for bit range\n")},
        DIAG_E_NOMEM, reading_element(text));
}

TEST_F(OutOfMemory, FurtherRegisterElement) {
    const XmlText text("<reg/>");
    expect_sites<ChipWithARegister>({in_register("Could not allocate Next Register List\n"),
                                     in_register("Could not allocate Next Register\n")},
                                    DIAG_E_NOMEM, [&text](ChipWithARegister &chip) {
                                        return parse_reg_config(nullptr, chip.node(), 1,
                                                                text.root());
                                    });
}

TEST_F(OutOfMemory, ARegisterThatFailedIsNotCounted) {
    size_t round = 0;
    const XmlText text("<reg/>");
    for_each_failing_allocation([&](AllocationWatch &watch) {
        ChipWithARegister chip;
        text_logged_by([&] {
            watch.start();
            parse_reg_config(nullptr, chip.node(), 1, text.root());
            watch.stop();
        });
        EXPECT_EQ(chip.node()->reg_list->count, watch.has_failed() ? 1U : 2U);
        EXPECT_EQ(registers_of(chip.node()->reg_list).size(), watch.has_failed() ? 1U : 2U);
        round++;
    });
    EXPECT_EQ(round, 3U);
}

struct RoleCase {
    const char *name;
    reg_list *device_node::*list;
    Site site;
    int id;
};

const RoleCase kRoleCases[] = {
    {"Setup", &device_node::intr_setup_regs,
     in_register("Can't allocate memory interrupt setup reg\n"), 0},
    {"Status", &device_node::intr_status_regs,
     in_register("Can't allocate memory for interrupt status reg\n"), 1},
    {"AMode1", &device_node::test_regs_a, kTestElement, 2},
    {"AMode2", &device_node::test_regs_a, kTestElement, 3},
    {"B", &device_node::test_regs_b, kTestElement, 4},
    {"C", &device_node::test_regs_c, kTestElement, 5},
};

class OutOfMemoryForRole : public DeviceTreeTest, public testing::WithParamInterface<RoleCase> {};

TEST_P(OutOfMemoryForRole, OfAnElement) {
    const XmlText text("<reg><reg-test-id>" + std::to_string(GetParam().id) +
                       "</reg-test-id></reg>");
    expect_sites<ChipWithRoles>(
        {in_register("Could not allocate Next Register List\n"),
         in_register("Could not allocate Next Register\n"), GetParam().site},
        DIAG_E_NOMEM, [&text](ChipWithRoles &chip) {
            return parse_reg_config(nullptr, chip.node(), 1, text.root());
        });
}

TEST_P(OutOfMemoryForRole, OfALine) {
    const std::string line = "R|1|8|ff|N| RW |0|1|1|v|" + std::to_string(GetParam().id) + "|";
    expect_sites<ChipWithRoles>(
        {in_register("Can't allocate memory for device's reg list\n"),
         in_register("Can't allocate memory for reg entry\n"),
         in_register("Can't allocate memory for reg name\n"),
         in_register("Can't allocate memory for reg version\n"), GetParam().site},
        DIAG_E_NOMEM, [&line](ChipWithRoles &chip) {
            std::string copy = line;
            return parse_reg_config(copy.data(), chip.node(), 0, nullptr);
        });
}

TEST_P(OutOfMemoryForRole, DoesNotCountTheRegister) {
    for_each_failing_allocation([&](AllocationWatch &watch) {
        ChipWithRoles chip;
        const uint32_t mode = chip.node()->test_regs_mode;
        std::string line = "R|1|8|ff|N| RW |0|1|1|v|" + std::to_string(GetParam().id);
        text_logged_by([&] {
            watch.start();
            parse_reg_config(line.data(), chip.node(), 0, nullptr);
            watch.stop();
        });
        EXPECT_EQ((chip.node()->*GetParam().list)->count, watch.has_failed() ? 1U : 2U);
        if (watch.has_failed()) {
            EXPECT_EQ(chip.node()->test_regs_mode, mode);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(All, OutOfMemoryForRole, testing::ValuesIn(kRoleCases),
                         [](const auto &role) { return role.param.name; });

TEST_F(OutOfMemory, ParseBitConfig) {
    const XmlText text(
        "<bit> <bit-range>3</bit-range><bit-name>N</bit-name><info><info-desc>d"
        "</info-desc></info></bit>");
    expect_sites<ChipWithARegister>(
        {in_bit("Could not allocate mem for Bit definition\n"),
         in_bit("Could not allocate space for bit range\n"),
         in_bit("Could not Allocate Bit Name\n"), in_info("Can't allocate memory for Bit Info\n"),
         in_info("Could not allocate Info String\n")},
        DIAG_E_NOMEM,
        [&text](ChipWithARegister &chip) { return parse_bit_config(chip.reg(), text.root()); });
}

struct ChipWithABit : Chip {
    ChipWithABit() { read_xml("<reg><bit> </bit></reg>"); }
};

struct ChipWithAnInfo : Chip {
    ChipWithAnInfo() { read_xml("<reg><bit> <info> </info></bit></reg>"); }
};

TEST_F(OutOfMemory, ParseInfoConfig) {
    const XmlText text("<info><info-desc>d</info-desc></info>");
    expect_sites<ChipWithABit>({in_info("Can't allocate memory for Bit Info\n"),
                                in_info("Could not allocate Info String\n")},
                               DIAG_E_NOMEM, [&text](ChipWithABit &chip) {
                                   return parse_info_config(chip.bit(), text.root());
                               });
    expect_sites<ChipWithAnInfo>(
        {in_info("Can't allocate memory Bit Info\n"), in_info("Could not allocate Info String\n")},
        DIAG_E_NOMEM,
        [&text](ChipWithAnInfo &chip) { return parse_info_config(chip.bit(), text.root()); });
}

// ---- lines ----

// Reads a line, of which each call has a copy of its own.
template <typename Records>
std::function<uint32_t(Records &)> reading_line(const std::string &line) {
    return [line](Records &chip) {
        std::string copy = line;
        return parse_reg_config(copy.data(), chip.node(), 0, nullptr);
    };
}

TEST_F(OutOfMemory, FirstRegisterLine) {
    expect_sites<Chip>(
        Sites{in_register("Can't allocate memory for device's reg list\n")} + Sites(5, kTestList) +
            Sites{in_register("Can't allocate memory for reg entry\n"),
                  in_register("Can't allocate memory for reg name\n"),
                  in_register("Can't allocate memory for reg version\n"),
                  in_register("Can't allocate memory for reg test description\n")},
        DIAG_E_NOMEM, reading_line<Chip>("R|1|8|ff|N| RW |0|1|1|v|4|5a|description"));
}

TEST_F(OutOfMemory, FurtherRegisterLine) {
    expect_sites<ChipWithARegister>({in_register("Can't allocate memory for device's reg list\n"),
                                     in_register("Can't allocate memory for reg entry\n")},
                                    DIAG_E_NOMEM, reading_line<ChipWithARegister>("R|1"));
}

TEST_F(OutOfMemory, BitLine) {
    expect_sites<ChipWithARegister>({in_register("Could not allocate mem for Bit definition\n"),
                                     in_register("Could not Allocate Bit Name\n")},
                                    DIAG_E_NOMEM, reading_line<ChipWithARegister>("B|1|N| RO |0"));
    expect_sites<ChipWithABit>({in_register("Can't allocate memory for bit definition\n"),
                                in_register("Could not Allocate Bit Name\n")},
                               DIAG_E_NOMEM, reading_line<ChipWithABit>("B|1|N| RO |0"));
}

TEST_F(OutOfMemory, InfoLine) {
    expect_sites<ChipWithABit>({in_register("Can't allocate memory for Bit Info\n"),
                                in_register("Could not allocate Info String\n")},
                               DIAG_E_NOMEM, reading_line<ChipWithABit>("I|1|on"));
    expect_sites<ChipWithAnInfo>({in_register("Can't allocate memory for Bit Info\n"),
                                  in_register("Could not allocate Info String\n")},
                                 DIAG_E_NOMEM, reading_line<ChipWithAnInfo>("I|1|on"));
}

}  // namespace
}  // namespace diag::test
