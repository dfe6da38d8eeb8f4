// SPDX-License-Identifier: MIT
// Files that cannot be loaded, and files of unusual shape and size.
#include <cerrno>
#include <gtest/gtest.h>

#include "tests/common/device_tree/loader_test.h"

namespace diag::test {
namespace {

using LoadDeviceTree = DeviceTreeTest;

// ---- files that cannot be read ----

TEST_F(LoadDeviceTree, AMissingFileAnswersItsErrno) {
    const TemporaryFolder folder;
    Load load;
    load.from_path(folder.file("board.xml").c_str());
    EXPECT_EQ(load.status, DIAG_E_FAIL | static_cast<uint32_t>(ENOENT));
    EXPECT_EQ(load.document, nullptr);
    EXPECT_EQ(load.chips(), 0U);
}

TEST_F(LoadDeviceTree, AFailureToParseSaysNothingMore) {
    EXPECT_EQ(logged_for_text("<config>"), Messages{});
    EXPECT_EQ(logged_by([] { Load().from_path("/nowhere/board.xml"); }), (Messages{{1, kLoading}}));
}

struct UnreadableCase {
    const char *name;
    std::string text;
};

const UnreadableCase kUnreadableCases[] = {
    {"Empty", ""},
    {"WhiteSpace", " \n "},
    {"NoXml", "C | FPGA | 0x40\n"},
    {"OnlyADeclaration", "<?xml version=\"1.0\"?>"},
    {"OnlyAComment", "<!-- board -->"},
    {"Unclosed", "<config><chip></config>"},
    {"CutOff", "<config><chip><chip-name>N"},
    {"TwoRoots", "<config/><config/>"},
    {"NulByte", std::string("<config>\0</config>", 18)},
    {"WrongBytes", "<config>\xff\xfe</config>"},
    {"UnknownEntity", "<config>&nothing;</config>"},
    {"NestedTooDeep", repeat("<config>", 300) + repeat("</config>", 300)},
    {"ReopenedAttribute", "<config a=\"1\" a=\"2\"/>"},
};

class UnreadableFile : public DeviceTreeTest, public testing::WithParamInterface<UnreadableCase> {};

TEST_P(UnreadableFile, AnswersAFailureAndNoDocument) {
    Load load;
    load.from_text(GetParam().text);
    EXPECT_EQ(load.status & ~0xFFFFU, DIAG_E_FAIL & ~0xFFFFU);
    EXPECT_GE(load.status, DIAG_E_FAIL);
    EXPECT_EQ(load.document, nullptr);
    EXPECT_EQ(load.chips(), 0U);
}

// An error left from before must not be taken for this file's.
TEST_P(UnreadableFile, DoesNotAnswerAnOldErrno) {
    errno = EXDEV;
    Load load;
    load.from_text(GetParam().text);
    EXPECT_NE(load.status, DIAG_E_FAIL | static_cast<uint32_t>(EXDEV));
}

INSTANTIATE_TEST_SUITE_P(All, UnreadableFile, testing::ValuesIn(kUnreadableCases),
                         [](const auto &file) { return file.param.name; });

TEST_F(LoadDeviceTree, ADirectoryIsNoFile) {
    const TemporaryFolder folder;
    Load load;
    load.from_path(folder.path().c_str());
    EXPECT_GE(load.status, DIAG_E_FAIL);
    EXPECT_EQ(load.document, nullptr);
}

TEST_F(LoadDeviceTree, AnEmptyPathIsNoFile) {
    Load load;
    load.from_path("");
    EXPECT_GE(load.status, DIAG_E_FAIL);
    EXPECT_EQ(load.document, nullptr);
}

// ---- the root ----

TEST_F(LoadDeviceTree, AnotherRootIsRefusedByName) {
    for (const char *name : {"Config", "configuration", "conf", "chip"}) {
        const std::string text = std::string("<") + name + "><chip/></" + name + ">";
        Load load;
        load.from_text(text);
        EXPECT_EQ(load.status, DIAG_E_INVAL);
        EXPECT_EQ(load.chips(), 0U);
        EXPECT_NE(load.document, nullptr);  // the caller's all the same
        EXPECT_EQ(
            logged_for_text(text),
            error_in("load_device_tree", std::string("Invalid xml config file (") + name + ")\n"));
    }
}

TEST_F(LoadDeviceTree, ARefusedDocumentIsFreedWhenNobodyWantsIt) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.xml", "<board/>");
    TreeOwner tree;
    uint8_t busbroker_supported = 0;
    EXPECT_EQ(load_device_tree(path.c_str(), &tree.head, 1, nullptr, &busbroker_supported, nullptr,
                               nullptr),
              DIAG_E_INVAL);
}

TEST_F(LoadDeviceTree, ARootWithoutElementsLoadsNothing) {
    for (const char *content : {"", " ", "text", "<!-- c -->", "<![CDATA[<chip/>]]>", "<?chip?>",
                                "a<!-- c -->b<?chip?>"}) {
        const Loaded load(content);
        EXPECT_EQ(load.status, 0U) << content;
        EXPECT_EQ(load.chips(), 0U) << content;
    }
}

TEST_F(LoadDeviceTree, UnknownElementsArePassedOverInSilence) {
    const std::string content = "t<chips/><Chip/><x>" + repeat("<config>", 200) +
                                repeat("</config>", 200) +
                                "</x><!-- <chip/> --><?chip?><opticstool/><reg/><chip/>";
    const Loaded load(content);
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chips(), 1U);
    EXPECT_EQ(logged_for(content), Messages{});
}

TEST_F(LoadDeviceTree, EntitiesAreNotMultiplied) {
    std::string text = "<!DOCTYPE config [<!ENTITY e0 \"x\">";
    for (int i = 1; i < 25; i++) {
        const std::string inner = repeat("&e" + std::to_string(i - 1) + ";", 10);
        text += "<!ENTITY e" + std::to_string(i) + " \"" + inner + "\">";
    }
    Load load;
    load.from_text(text + "]><config><chip/></config>");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chips(), 1U);
}

// ---- long lists, each of which a search for its end would make quadratic ----

constexpr size_t kMany = 100000;

TEST_F(LoadDeviceTree, AHundredThousandChips) {
    const Loaded load(repeat("<chip/>", kMany));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chips(), kMany);
}

TEST_F(LoadDeviceTree, AHundredThousandRegistersOfOneChip) {
    const Loaded load("<chip>" + repeat("<reg/>", kMany) + "</chip>");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.tree.head.node->reg_list->count, kMany);
    EXPECT_EQ(length_of(load.tree.head.node->reg_list), kMany);
}

TEST_F(LoadDeviceTree, AHundredThousandRegistersOfEachTestList) {
    const std::string registers = repeat(
        "<reg><reg-test-id>0</reg-test-id><reg-test-id>1</reg-test-id><reg-test-id>2"
        "</reg-test-id><reg-test-id>4</reg-test-id><reg-test-id>5</reg-test-id></reg>"
        "<reg><reg-test-id>3</reg-test-id></reg>",
        kMany / 2);
    const Loaded load("<chip>" + registers + registers + "</chip>");
    ASSERT_EQ(load.status, 0U);
    const device_node *node = load.tree.head.node;
    for (const reg_list *list :
         {node->intr_setup_regs, node->intr_status_regs, node->test_regs_b, node->test_regs_c}) {
        EXPECT_EQ(list->count, kMany);
        EXPECT_EQ(length_of(list), kMany);
    }
    EXPECT_EQ(node->test_regs_a->count, 2 * kMany);
    EXPECT_EQ(length_of(node->test_regs_a), 2 * kMany);
    EXPECT_EQ(node->test_regs_mode, 2U);
}

TEST_F(LoadDeviceTree, AHundredThousandMuxesOfOneChip) {
    const Loaded load("<chip>" + repeat("<chip-mux/>", kMany) + "</chip>");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(length_of(load.tree.head.node->mux_list), kMany);
}

}  // namespace
}  // namespace diag::test
