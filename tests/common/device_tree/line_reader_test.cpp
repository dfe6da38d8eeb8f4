// SPDX-License-Identifier: MIT
#include "diags/common/src/device_tree/line_reader.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "diag_types.h"

#include "diags/common/src/lib/unique_fd.h"
#include "tests/common/process_state.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

using Lines = std::vector<std::string>;

Lines lines_of(std::string_view text) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", text).c_str());
    Lines lines;
    while (const char *line = reader.next()) {
        lines.emplace_back(line);
    }
    EXPECT_EQ(reader.status(), 0U);
    EXPECT_EQ(reader.next(), nullptr) << "the end stays the end";
    return lines;
}

// ---- lines and their ends ----

struct TextCase {
    const char *name;
    std::string text;
    Lines lines;
};

const TextCase kTexts[] = {
    {"Nothing", "", {}},
    {"OneLine", "a\n", {"a\n"}},
    {"WithoutALineEnd", "a", {"a"}},
    {"TwoLines", "a\nb\n", {"a\n", "b\n"}},
    {"LastWithoutALineEnd", "a\nb", {"a\n", "b"}},
    {"EmptyLinesArePassedOver", "\n\na\n\n\nb\n\n", {"a\n", "b\n"}},
    {"OnlyEmptyLines", "\n\n\n", {}},
    {"ABlankIsNoEmptyLine", " \n\t\n", {" \n", "\t\n"}},
    {"CarriageReturnsAreDropped", "a\r\nb\r\n", {"a\n", "b\n"}},
    {"EmptyLinesWithCarriageReturns", "\r\n\r\na\r\n\r\n", {"a\n"}},
    {"CarriageReturnAtTheVeryEnd", "a\nb\r", {"a\n", "b"}},
    {"LoneCarriageReturnAtTheVeryEnd", "a\n\r", {"a\n"}},
    {"LoneCarriageReturn", "\r", {}},
    {"OneCarriageReturnIsDropped", "a\r\r\n", {"a\r\n"}},
    {"CarriageReturnInsideStays", "a\rb\n", {"a\rb\n"}},
    {"MixedLineEnds", "a\r\nb\nc\r\n", {"a\n", "b\n", "c\n"}},
    {"NulByteEndsTheText", std::string("a\0b\nc\n", 6), {"a", "c\n"}},
    {"NulByteAtTheFront", std::string("\0a\nb\n", 5), {"", "b\n"}},
    {"OnlyANulByte", std::string("\0", 1), {""}},
    {"NulByteBeforeTheLineEnd", std::string("\0\r\n", 3), {""}},
    {"AnyOtherByte", "\xff\xfe\x01\n", {"\xff\xfe\x01\n"}},
};

class LineReaderText : public testing::TestWithParam<TextCase> {};

TEST_P(LineReaderText, IsReadLineByLine) {
    EXPECT_EQ(lines_of(GetParam().text), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(All, LineReaderText, testing::ValuesIn(kTexts),
                         [](const auto &text) { return text.param.name; });

TEST(LineReader, LinesOfAMegabyteAreWhole) {
    const std::string line(1 << 20, 'x');
    EXPECT_EQ(lines_of(line + "\nshort\n" + line), (Lines{line + "\n", "short\n", line}));
}

TEST(LineReader, EveryLengthAroundABufferIsWhole) {
    std::string text;
    Lines expected;
    for (const size_t size : {119, 120, 121, 4095, 4096, 4097, 65533, 65534, 65535, 65536, 65537}) {
        expected.push_back(std::string(size, 'x') + "\n");
        text += expected.back();
    }
    EXPECT_EQ(lines_of(text), expected);
}

// Wherever a reading of the file ends: in front of a line, in it, or between its two end
// characters.
TEST(LineReader, LinesAreWholeWhereverABufferEnds) {
    for (size_t size = 65530; size < 65540; size++) {
        const std::string line(size, 'x');
        EXPECT_EQ(lines_of(line + "\r\n\r\nnext\r\n"), (Lines{line + "\n", "next\n"})) << size;
        EXPECT_EQ(lines_of(line + "\n"), Lines{line + "\n"}) << size;
        EXPECT_EQ(lines_of(line), Lines{line}) << size;
        EXPECT_EQ(lines_of(line + "\r"), Lines{line}) << size;
    }
}

TEST(LineReader, ALineMayBeChanged) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", "abc\ndef\n").c_str());
    char *line = reader.next();
    line[0] = '\0';
    line[2] = 'X';
    EXPECT_STREQ(reader.next(), "def\n");
}

// ---- positions ----

TEST(LineReader, GoesBackToWhereALineBegan) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", "one\r\n\ntwo\nthree").c_str());
    EXPECT_EQ(reader.position(), 0);
    reader.next();
    const off_t behind_one = reader.position();
    EXPECT_EQ(behind_one, 5);
    EXPECT_STREQ(reader.next(), "two\n");
    EXPECT_EQ(reader.position(), 10);
    EXPECT_TRUE(reader.go_to(behind_one));
    EXPECT_STREQ(reader.next(), "two\n");
    EXPECT_STREQ(reader.next(), "three");
}

TEST(LineReader, GoesBackFromTheEndOfTheFile) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", "one\ntwo").c_str());
    while (reader.next() != nullptr) {
    }
    EXPECT_EQ(reader.position(), 7);
    EXPECT_TRUE(reader.go_to(4));
    EXPECT_STREQ(reader.next(), "two");
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.status(), 0U);
}

TEST(LineReader, GoesToAnyLineOfALongFile) {
    std::string text;
    for (int i = 0; i < 30000; i++) {
        text += std::to_string(i) + "\n";
    }
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", text).c_str());
    std::vector<off_t> positions;
    for (off_t at = reader.position(); reader.next() != nullptr; at = reader.position()) {
        positions.push_back(at);
    }
    ASSERT_EQ(positions.size(), 30000U);
    for (const size_t line : {size_t{29999}, size_t{0}, size_t{12345}, size_t{12344}}) {
        ASSERT_TRUE(reader.go_to(positions[line]));
        EXPECT_EQ(reader.next(), std::to_string(line) + "\n");
        EXPECT_EQ(reader.position(),
                  positions[line] + static_cast<off_t>(std::to_string(line).size()) + 1);
    }
}

TEST(LineReader, TheLineFeedCanBeTakenOff) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", std::string("one\r\ntwo\na\0b\nlast", 17)).c_str());
    for (const char *line : {"one", "two", "a", "last"}) {
        const char *read = reader.next();
        reader.cut_line_feed();
        reader.cut_line_feed();
        EXPECT_STREQ(read, line);
    }
    EXPECT_EQ(reader.next(), nullptr);
}

TEST(LineReader, DoesNotGoToAPositionThatIsNone) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", "one\ntwo\n").c_str());
    reader.next();
    EXPECT_FALSE(reader.go_to(-1));
    EXPECT_STREQ(reader.next(), "two\n") << "it stays where it was";
}

TEST(LineReader, APositionBehindTheEndHasNoLine) {
    const TemporaryFolder folder;
    LineReader reader(folder.write("lines", "one\n").c_str());
    EXPECT_TRUE(reader.go_to(1000));
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.status(), 0U);
}

TEST(LineReader, AFileWithoutPositionsTellsSo) {
    const TemporaryFolder folder;
    const std::string path = folder.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    UniqueFd writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
    LineReader reader(path.c_str());
    ASSERT_EQ(write(writer.get(), "one\ntwo\n", 8), 8);
    writer = UniqueFd();
    EXPECT_STREQ(reader.next(), "one\n");
    EXPECT_EQ(reader.position(), -1);
    EXPECT_FALSE(reader.go_to(0));
    EXPECT_STREQ(reader.next(), "two\n");
}

// ---- files that cannot be read ----

TEST(LineReader, AMissingFileIsNotOpen) {
    const TemporaryFolder folder;
    EXPECT_FALSE(LineReader(folder.file("lines").c_str()).is_open());
    EXPECT_FALSE(LineReader("").is_open());
    EXPECT_TRUE(LineReader("/dev/null").is_open());
}

TEST(LineReader, AFolderCanBeOpenedButNotRead) {
    const TemporaryFolder folder;
    LineReader reader(folder.path().c_str());
    ASSERT_TRUE(reader.is_open());
    EXPECT_EQ(reader.status(), 0U);
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.status(), DIAG_E_FAIL | static_cast<uint32_t>(EISDIR));
}

TEST(LineReader, TheFileIsClosedWithItsReaderAndNotInherited) {
    const TemporaryFolder folder;
    const std::string path = folder.write("lines", "one\n");
    const auto before = open_descriptors();
    {
        const LineReader reader(path.c_str());
        const int descriptor = descriptor_of(path);
        ASSERT_NE(descriptor, -1);
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(LineReader, FiveEqualSignsBeginADelimiter) {
    for (const char *line : {"=====", "=====\n", "======== text", "=====x"}) {
        EXPECT_TRUE(is_delimiter(line)) << line;
    }
    for (const char *line : {"", "====", "====\n", " =====", "==== =", "-----"}) {
        EXPECT_FALSE(is_delimiter(line)) << line;
    }
}

}  // namespace
}  // namespace diag::test
