// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/unique_fd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <utility>

namespace {

using diag::UniqueFd;

int open_null() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

TEST(UniqueFd, ClosesItsDescriptor) {
    const int fd = open_null();
    {
        const UniqueFd owner(fd);
        EXPECT_TRUE(owner.valid());
        EXPECT_EQ(owner.get(), fd);
        EXPECT_TRUE(is_open(fd));
    }
    EXPECT_FALSE(is_open(fd));
}

TEST(UniqueFd, HoldsNothingAtFirst) {
    const UniqueFd owner;
    EXPECT_FALSE(owner.valid());
    EXPECT_EQ(owner.get(), -1);
}

TEST(UniqueFd, ReleasedDescriptorStaysOpen) {
    const int fd = open_null();
    {
        UniqueFd owner(fd);
        EXPECT_EQ(owner.release(), fd);
        EXPECT_FALSE(owner.valid());
    }
    EXPECT_TRUE(is_open(fd));
    close(fd);
}

TEST(UniqueFd, MovesItsDescriptor) {
    const int first = open_null();
    const int second = open_null();
    {
        UniqueFd source(first);
        UniqueFd owner(std::move(source));
        EXPECT_EQ(owner.get(), first);
        owner = UniqueFd(second);
        EXPECT_EQ(owner.get(), second);
        EXPECT_FALSE(is_open(first));
    }
    EXPECT_FALSE(is_open(second));
}

}  // namespace
