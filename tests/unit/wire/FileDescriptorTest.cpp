// Who owns a descriptor closes it, once.
#include <fcntl.h>
#include <gtest/gtest.h>

#include "wire/FileDescriptor.h"

namespace {

using AppConfigWire::FileDescriptor;

int opened() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}
bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

TEST(FileDescriptor, ClosesWhatItOwnsAndLeavesErrnoAlone) {
    const int fd = opened();
    FileDescriptor owner(fd);
    EXPECT_TRUE(owner.isOpen());
    EXPECT_EQ(owner.get(), fd);
    errno = EILSEQ;
    owner.reset();
    EXPECT_EQ(errno, EILSEQ);
    EXPECT_FALSE(owner.isOpen());
    EXPECT_EQ(owner.get(), -1);
    EXPECT_FALSE(isOpen(fd));
    errno = EILSEQ;
    owner.reset();
    EXPECT_EQ(errno, EILSEQ) << "what was closed was closed again";
    EXPECT_FALSE(FileDescriptor().isOpen());
    EXPECT_TRUE(FileDescriptor(dup(0)).isOpen());
}

TEST(FileDescriptor, OwnsAlsoTheFirstNumberOfAll) {
    // 0 is what the system gives to a process that has closed its standard input.
    FileDescriptor owner(0);
    EXPECT_TRUE(owner.isOpen());
    const int spare = dup(0);
    owner.reset();
    EXPECT_FALSE(isOpen(0));
    if (spare >= 0) {
        EXPECT_EQ(dup2(spare, 0), 0);
        close(spare);
    }
}

TEST(FileDescriptor, IsHandedOver) {
    const int fd = opened();
    {
        FileDescriptor first(fd);
        FileDescriptor second(std::move(first));
        EXPECT_EQ(second.get(), fd);
        FileDescriptor third(opened());
        const int replaced = third.get();
        third = std::move(second);
        EXPECT_EQ(third.get(), fd);
        EXPECT_FALSE(isOpen(replaced)) << "what it owned before is lost";
        FileDescriptor& same = third;
        third = std::move(same);
        EXPECT_EQ(third.get(), fd);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

}  // namespace
