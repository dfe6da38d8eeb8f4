// SPDX-License-Identifier: MIT
// Converting a description: what is written, where, and what is told about the rest.
#include <csignal>
#include <filesystem>
#include <sys/stat.h>

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

namespace fs = std::filesystem;

class Converting : public DiagctlTest {
  protected:
    ProgramResult convert(const std::string &file, const Words &more = {}) const {
        Words words{"convert", file, "--to", "text"};
        words.insert(words.end(), more.begin(), more.end());
        return diagctl(words);
    }
    std::string output_file() const { return folder_.file("out.txt"); }
    const TemporaryFolder &folder() const { return folder_; }
    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
    }

  private:
    TemporaryFolder folder_;
};

constexpr char kHeader[] =
    "# C - CHIP (Master | Slave -  Cpld or FPGA), Address, Name, Access\n"
    "# R - Register, Offset, Mask, Name, RW , Default Val\n"
    "# B - Bit(s), bitnum(s), Name, RW, Default Val\n"
    "# I - Information on the bits\n"
    "=====\n";

TEST_F(Converting, WritesXmlAsText) {
    const std::string file = folder().write(
        "d.xml",
        "<config><chip><chip-type>CPLD</chip-type><chip-name>PUMP</chip-name>"
        "<chip-bus>/dev/i2c-3</chip-bus><chip-address>31</chip-address>"
        "<reg><reg-offset>10</reg-offset><reg-name>CTRL</reg-name><reg-size>8</reg-size>"
        "<reg-access>RW</reg-access><reg-mask>f</reg-mask><reg-default>5</reg-default>"
        "<bit>\n<bit-range>3:2</bit-range><bit-name>SPEED</bit-name><bit-access>RW</bit-access>"
        "<info><info-val>1</info-val><info-desc>slow</info-desc></info></bit></reg>"
        "</chip></config>");
    const ProgramResult result = convert(file);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, std::string(kHeader) +
                                 "C | CPLD | 0x31 |PUMP| i2c | 3 | | 0x00 | 0x0\n"
                                 "R | 0x10 | 8 | 0x0F |CTRL| RW | 0x5 | 0 |\n"
                                 "B |  3:2 |SPEED| RW | 0x0\n"
                                 "I |  1 |slow\n");
}

TEST_F(Converting, WritesTextThatReadsBackTheSame) {
    const ProgramResult first = convert(example_board("edge_router.txt"));
    EXPECT_EQ(first.status, 0);
    const std::string plain = folder().write(
        "plain.txt",
        "=====\nC | FPGA | 0x40 | A | bmc | a | - | | 0 | 0\n"
        "R | 0x10 | 16 | 0x0fff | R | WO | 0x5 | 1\nB | 11:0 | F | RW | 5\nI | 5 | five\n"
        "=====\nC | odd | 0x50 | B | lpc | 0 | - | | 0 | 0\n");
    const ProgramResult once = convert(plain);
    EXPECT_EQ(once.errors, "");
    const ProgramResult twice = convert(folder().write("again.txt", once.output));
    // The form has the identifier where muxes are read, so the version register takes its place.
    EXPECT_EQ(json_of({"--json", "regs", plain, "A"})["registers"],
              json_of({"--json", "regs", folder().file("again.txt"), "A"})["registers"]);
    EXPECT_EQ(twice.status, 0);
}

TEST_F(Converting, WritesADescriptionOfNoChips) {
    EXPECT_EQ(convert(diagctl_data("good_no_chips.xml")).output, kHeader);
    const std::string back = folder().write("none.txt", kHeader);
    EXPECT_EQ(convert(back).output, kHeader);
}

TEST_F(Converting, WarnsOfWhatEachChipLoses) {
    const ProgramResult xml = convert(example());
    EXPECT_EQ(xml.status, 0);
    EXPECT_NE(xml.errors.find("diagctl: warning: chip \"QSFP 1\": not written: 2 muxes"),
              std::string::npos)
        << xml.errors;
    const ProgramResult text = convert(diagctl_data("good_bus_kinds.txt"));
    EXPECT_NE(text.errors.find("diagctl: warning: chip \"PCI_CHIP\": not written: PCI device and "
                               "function, test roles; not read back: identifier, version register "
                               "and mask, register versions\n"),
              std::string::npos)
        << text.errors;
    EXPECT_NE(text.errors.find("diagctl: warning: what is written cannot be read back, line 6: "
                               "chip \"I2C_CHIP\", mux 1: addr \"I2C_CHIP\" is not hexadecimal\n"),
              std::string::npos)
        << text.errors;
}

// Nothing stands between two separators then, and the fields behind it would be read one too early.
TEST_F(Converting, WarnsWhenARegisterWithoutANameMakesTheFileUnreadable) {
    const std::string file = folder().write(
        "d.xml",
        "<config><chip><chip-type>CPLD</chip-type><chip-name>PUMP</chip-name>"
        "<chip-bus>lpc</chip-bus><chip-address>31</chip-address>"
        "<reg><reg-offset>10</reg-offset><reg-size>8</reg-size></reg></chip></config>");
    const ProgramResult result = convert(file);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.errors.starts_with(
        "diagctl: warning: what is written cannot be read back, line 7: chip \"PUMP\", register "))
        << result.errors;
    EXPECT_TRUE(is_one_line(result.errors));
    EXPECT_EQ(diagctl({"tree", folder().write("back.txt", result.output)}).status, 3);
}

TEST_F(Converting, WarnsThatOptionalModulesAreNotWritten) {
    const FakeTool no_tools("some-tool");
    const ProgramResult result = convert(example_board("io_carrier.txt"));
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.errors.find("warning: the optional-module block is not written"),
              std::string::npos);
    EXPECT_EQ(result.output.find("IOM_1"), std::string::npos);
    const ProgramResult with_cards =
        diagctl({"--board", example_board("io_carrier.board"), "convert",
                 example_board("io_carrier.txt"), "--to", "text"});
    EXPECT_NE(with_cards.output.find("|IOM_1|"), std::string::npos);
    EXPECT_EQ(with_cards.output.find("|IOM_2|"), std::string::npos);
}

TEST_F(Converting, WritesAFile) {
    const ProgramResult result =
        convert(diagctl_data("good_no_chips.xml"), {"--output", output_file()});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(read_file(output_file()), kHeader);
    EXPECT_EQ(files(), 1U);
    struct stat status {};
    ASSERT_EQ(stat(output_file().c_str(), &status), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST_F(Converting, ReplacesAFileKeepingItsPermissionsAndTheLinkToIt) {
    folder().write("out.txt", "before");
    fs::permissions(output_file(), fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("out.txt", folder().file("link.txt"));
    EXPECT_EQ(convert(diagctl_data("good_no_chips.xml"), {"-o", folder().file("link.txt")}).status,
              0);
    EXPECT_EQ(read_file(output_file()), kHeader);
    EXPECT_TRUE(fs::is_symlink(folder().file("link.txt")));
    EXPECT_EQ(fs::status(output_file()).permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(files(), 2U);
}

TEST_F(Converting, LeavesTheFileAloneWhenItFails) {
    folder().write("out.txt", "before");
    const ProgramResult bad =
        convert(diagctl_data("bad_no_chip_type.xml"), {"--output", output_file()});
    EXPECT_EQ(bad.status, 3);
    EXPECT_EQ(read_file(output_file()), "before");
    // A file may grow to no size at all: the disk is full.
    const ProgramResult full = run_program(
        {"sh", "-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\" 2>/dev/full", program(),
         "convert", diagctl_data("good_no_chips.xml"), "--to", "text", "--output", output_file()});
    EXPECT_EQ(full.status, 6);
    EXPECT_EQ(read_file(output_file()), "before");
    EXPECT_EQ(files(), 1U);
}

TEST_F(Converting, TellsInOneLineWhatCannotBeWritten) {
    const std::string file = diagctl_data("good_no_chips.xml");
    struct Case {
        std::string path;
        std::string reason;
    };
    const Case cases[] = {
        {"/dev/full", "No space left on device"},
        {folder().file("nowhere/out.txt"), "No such file or directory"},
        {folder().path().string(), "Is a directory"},
        {file + "/out.txt", "Not a directory"},
    };
    for (const auto &[path, reason] : cases) {
        const ProgramResult result = convert(file, {"--output", path});
        EXPECT_EQ(result.status, 6) << path;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, fmt::format("diagctl: {} cannot be written: {}\n", path, reason));
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    const ProgramResult full = run_program(
        {"sh", "-c", "exec \"$0\" \"$@\" >/dev/full", program(), "convert", file, "--to", "text"});
    EXPECT_EQ(full.status, 6);
    EXPECT_EQ(full.errors, "diagctl: standard output cannot be written: No space left on device\n");
}

TEST_F(Converting, TellsWhichFormsThereAre) {
    const std::string file = diagctl_data("good_no_chips.xml");
    for (const char *form : {"xml", "", "TEXT", "text,xml"}) {
        const ProgramResult result = diagctl({"convert", file, "--to", form});
        EXPECT_EQ(result.status, 2) << form;
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
    }
    EXPECT_EQ(diagctl({"convert", file, "--to", "xml"}).errors,
              "diagctl: convert knows no form \"xml\", it is one of text; see diagctl convert "
              "--help\n");
    const ProgramResult json = diagctl({"--json", "convert", file, "--to", "text"});
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(nlohmann::json::parse(json.output)["error"]["status"], 2);
}

}  // namespace
}  // namespace diag::test
