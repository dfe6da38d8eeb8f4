// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/fifo.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/common/process_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using diag::Fifo;
using diag::test::open_descriptors;

class FifoTest : public testing::Test {
  protected:
    FifoTest() : path_(folder_.file("pipe")) {}

    bool is_fifo() const { return std::filesystem::is_fifo(path_); }

    diag::test::TemporaryFolder folder_;
    std::string path_;
};

TEST_F(FifoTest, IsMadeOpenedAndRemovedWithItsOwner) {
    const auto before = open_descriptors();
    {
        const Fifo fifo(path_.c_str());
        EXPECT_EQ(fifo.state(), Fifo::State::kOpen);
        EXPECT_TRUE(is_fifo());
        EXPECT_EQ(diag::test::descriptor_of(path_), fifo.fd());
    }
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(FifoTest, NeitherBlocksNorIsInherited) {
    const Fifo fifo(path_.c_str());
    const int flags = fcntl(fifo.fd(), F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(flags & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(fifo.fd(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(FifoTest, PermissionsAreThoseThatTheUmaskLeaves) {
    for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
        const mode_t saved = umask(mask);
        const Fifo fifo(path_.c_str());
        umask(saved);
        struct stat status {};
        ASSERT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0666U & ~mask);
    }
}

TEST_F(FifoTest, ReplacesWhatHasItsName) {
    folder_.write("pipe", "a file");
    EXPECT_EQ(Fifo(path_.c_str()).state(), Fifo::State::kOpen);
    EXPECT_TRUE(folder_.is_empty());
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(Fifo(path_.c_str()).state(), Fifo::State::kOpen);
    EXPECT_TRUE(folder_.is_empty());
}

TEST_F(FifoTest, ReplacesALinkAndNotWhatItPointsTo) {
    folder_.write("kept", "a file");
    std::filesystem::create_symlink("kept", path_);
    {
        const Fifo fifo(path_.c_str());
        EXPECT_EQ(fifo.state(), Fifo::State::kOpen);
        EXPECT_FALSE(std::filesystem::is_symlink(path_));
    }
    EXPECT_EQ(diag::test::read_file(folder_.file("kept")), "a file");
}

TEST_F(FifoTest, CannotBeMadeInAFolderThatIsMissing) {
    const Fifo fifo("/nowhere/at/all/pipe");
    EXPECT_EQ(fifo.state(), Fifo::State::kNotMade);
    EXPECT_EQ(fifo.fd(), -1);
}

TEST_F(FifoTest, CannotReplaceAFolder) {
    std::filesystem::create_directory(path_);
    folder_.write("pipe/kept", "a file");
    EXPECT_EQ(Fifo(path_.c_str()).state(), Fifo::State::kNotMade);
    EXPECT_EQ(diag::test::read_file(folder_.file("pipe/kept")), "a file");
}

TEST_F(FifoTest, StaysOnDiskWhenItCannotBeOpened) {
    {
        const diag::test::NoMoreDescriptors limit;
        const Fifo fifo(path_.c_str());
        EXPECT_EQ(fifo.state(), Fifo::State::kNotOpened);
        EXPECT_EQ(fifo.fd(), -1);
    }
    EXPECT_TRUE(is_fifo());
}

TEST_F(FifoTest, AbandonedStaysOnDiskAndOpen) {
    int fd = -1;
    {
        Fifo fifo(path_.c_str());
        fd = fifo.fd();
        fifo.abandon();
    }
    EXPECT_TRUE(is_fifo());
    EXPECT_EQ(diag::test::descriptor_of(path_), fd);
    close(fd);
}

TEST_F(FifoTest, KeepsWhatAWriterLeftBehind) {
    const Fifo fifo(path_.c_str());
    const int writer = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(writer, "abc", 3), 3);
    close(writer);
    char got[8] = "";
    EXPECT_EQ(read(fifo.fd(), got, sizeof got), 3);
    EXPECT_STREQ(got, "abc");
    EXPECT_EQ(read(fifo.fd(), got, sizeof got), -1);
    EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
