#include "Descriptor.h"
#include "Directory_Stream.h"
#include "testing/base/HostFixture.h"

#include <fcntl.h>

#include <set>

namespace {

bool isOpen(int number) {
    return fcntl(number, F_GETFD) >= 0;
}

int openNull() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(Descriptor, closesAtTheEndAndLeavesErrno) {
    const int number = openNull();
    {
        const Descriptor owner(number);
        EXPECT_TRUE(owner);
        EXPECT_EQ(owner.get(), number);
        errno = ENOSPC;
    }
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, isNoneForEveryNegativeNumber) {
    EXPECT_EQ(Descriptor(-7).get(), -1);
    EXPECT_FALSE(Descriptor(-7));
    EXPECT_EQ(Descriptor().close(), 0);
}

TEST(Descriptor, movesWithoutClosing) {
    const int number = openNull();
    Descriptor first(number);
    Descriptor second(std::move(first));
    Descriptor third;
    third = std::move(second);

    EXPECT_EQ(third.get(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(Descriptor, closesWhatItHeldWhenItTakesAnother) {
    const int former = openNull();
    Descriptor owner(former);
    owner.reset(openNull());

    EXPECT_TRUE(owner);
    owner = Descriptor();
    EXPECT_FALSE(isOpen(former));
}

TEST(Descriptor, tellsWhetherClosingWorked) {
    Descriptor owner(openNull());
    EXPECT_EQ(owner.close(), 0);
    EXPECT_FALSE(owner);

    Descriptor nobodys(1000000);
    EXPECT_EQ(nobodys.close(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(nobodys);
}

TEST(Descriptor, isTheCallersAfterRelease) {
    const int number = Descriptor(openNull()).release();

    EXPECT_TRUE(isOpen(number));
    const Descriptor owner(number);
}

using DirectoryStream = HostFixture;

Descriptor openDirectory(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

TEST_F(DirectoryStream, namesWhatIsInTheDirectory) {
    fill(onHost("/tmp/a"), "");
    fill(onHost("/tmp/.b"), "");
    Directory_Stream stream(openDirectory(onHost("/tmp")));
    ASSERT_TRUE(stream);

    std::set<std::string> names;
    while (const char* name = stream.next()) {
        names.insert(name);
    }

    EXPECT_EQ(errno, 0);
    EXPECT_EQ(names, (std::set<std::string>{"a", ".b"}));
}

TEST_F(DirectoryStream, closesItsDescriptorAtTheEnd) {
    Directory_Stream first(openDirectory(onHost("/tmp")));
    const int number = first.descriptor();
    EXPECT_TRUE(isOpen(number));
    {
        Directory_Stream second;
        second = std::move(first);
        EXPECT_EQ(second.descriptor(), number);
    }
    EXPECT_FALSE(isOpen(number));
    EXPECT_EQ(first.descriptor(), -1);
}

TEST_F(DirectoryStream, isNoneWithoutADirectory) {
    fill(onHost("/tmp/file"), "");
    const Directory_Stream stream(Descriptor(open(onHost("/tmp/file").c_str(), O_RDONLY | O_CLOEXEC)));

    EXPECT_FALSE(stream);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Directory_Stream(Descriptor()));
}

}  // namespace
