#include "testing/TempRoot.h"

#include "host_root.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <system_error>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TempRoot, isTheHostRootAsLongAsItLives) {
    const std::string before = host_root();
    {
        TempRoot outer;
        {
            TempRoot inner;
            EXPECT_EQ(host_root(), inner.path());
        }
        EXPECT_EQ(host_root(), outer.path());
    }
    EXPECT_EQ(host_root(), before);
}

TEST(TempRoot, holdsTheDirectoriesThatTheDaemonExpects) {
    TempRoot root;

    EXPECT_THAT(root.list(""), ElementsAre("ostrel", "tmp"));
    EXPECT_THAT(root.list("/ostrel"), ElementsAre("conf"));
}

TEST(TempRoot, takesItsFilesWithIt) {
    std::string path;
    {
        TempRoot root;
        path = root.path();
        root.write("/ostrel/conf/deep/down/file", "x");
    }

    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(TempRoot, writesAndReadsBytesBelowItself) {
    TempRoot root;
    const std::string bytes("a\0b\n", 4);

    root.write("/tmp/new/file", bytes);

    EXPECT_EQ(root.read("/tmp/new/file"), bytes);
    EXPECT_EQ(root.read("/tmp/none"), "");
    EXPECT_TRUE(root.exists("/tmp/new/file"));
    EXPECT_FALSE(root.exists("/tmp/none"));
    EXPECT_THAT(root.list("/tmp/none"), IsEmpty());
    EXPECT_EQ(access((root.path() + "/tmp/new/file").c_str(), F_OK), 0);
    EXPECT_THROW(root.write("/tmp", "a directory"), std::system_error);
}
