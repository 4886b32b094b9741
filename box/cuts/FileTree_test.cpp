#include "box/cuts/FileTree.h"

#include "box/BoxDirectory.h"
#include "box/Lives.h"
#include "box/cuts/RecordingHistory.h"

#include <gtest/gtest.h>

#include <string>

namespace box {
namespace {

FileOperation operation(FileOperation::Kind kind, std::uint32_t file, const std::string& path,
                        const std::string& bytes = "", std::size_t offset = 0) {
    FileOperation made;
    made.kind = kind;
    made.file = file;
    made.path = path;
    made.bytes = bytes;
    made.offset = offset;
    return made;
}

FileTree treeWithFile(const std::string& bytes) {
    FileTree tree;
    tree.apply(operation(FileOperation::kCreate, 1, "m0"));
    tree.apply(operation(FileOperation::kWrite, 1, "m0", bytes));
    return tree;
}

}  // namespace

TEST(FileRecord, leadsToTheFilesThatTheLivesHaveLeft) {
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const BoxDirectory directory("");
        FileTree tree = FileTree::below(directory.path());
        World world(seed);
        RecordingHistory history(seed, 100 * kSecond, world, directory.path());
        liveOn(world, history, directory.path());

        EXPECT_EQ(history.problem(), "");
        EXPECT_GT(history.operations().size(), 20u);
        for (const FileOperation& each : history.operations()) {
            tree.apply(each);
        }
        EXPECT_TRUE(tree.looksLike(FileTree::below(directory.path()))) << "seed " << seed;
    }
}

TEST(FileTree, standsOnADiskAsItIs) {
    const BoxDirectory directory("");
    FileTree tree = FileTree::below(directory.path());
    tree.apply(operation(FileOperation::kMakeDirectory, 0, "ostrel/conf/orv"));
    tree.apply(operation(FileOperation::kCreate, 1, "ostrel/conf/orv/m0"));
    tree.apply(operation(FileOperation::kWrite, 1, "ostrel/conf/orv/m0", "something"));
    tree.apply(operation(FileOperation::kLink, 1, "ostrel/conf/orv/m1"));

    tree.writeBelow(directory.path());

    EXPECT_TRUE(tree.looksLike(FileTree::below(directory.path())));
    EXPECT_EQ(tree.file("ostrel/conf/orv/m1").bytes, "something");
}

TEST(FileTree, hidesWhatStandsInADirectoryThatIsMissing) {
    FileTree tree;
    tree.apply(operation(FileOperation::kCreate, 1, "send/m0"));
    tree.apply(operation(FileOperation::kWrite, 1, "send/m0", "something"));
    EXPECT_EQ(tree.names().size(), 0u);
    EXPECT_EQ(tree.file("send/m0").bytes, "");

    tree.apply(operation(FileOperation::kMakeDirectory, 0, "send"));
    EXPECT_EQ(tree.file("send/m0").bytes, "something");
}

TEST(FileTree, leavesANameThatIsAnotherFilesMeanwhile) {
    FileTree tree = treeWithFile("old");
    tree.apply(operation(FileOperation::kCreate, 2, "m0"));
    tree.apply(operation(FileOperation::kUnlink, 1, "m0"));

    EXPECT_EQ(tree.names().at("m0"), 2u);
}

TEST(FileTree, tearsAWriteAtTheSectorsOfTheFile) {
    FileTree tree = treeWithFile(std::string(1500, 'a'));

    tree.applySectors(operation(FileOperation::kWrite, 1, "m0", std::string(1400, 'b'), 200), 0b100, true);

    EXPECT_EQ(tree.file("m0").bytes, std::string(1024, 'a') + std::string(512, 'b') + std::string(64, '\0'));
}

TEST(FileTree, endsATornFileThatHasNotGrownWithItsLastSector) {
    FileTree tree = treeWithFile("");

    tree.applySectors(operation(FileOperation::kWrite, 1, "m0", std::string(1200, 'b')), 0b010, false);

    EXPECT_EQ(tree.file("m0").bytes, std::string(512, '\0') + std::string(512, 'b'));
}

TEST(FileTree, givesARenamedFileBothNamesWhenOnlyTheNewOneCame) {
    FileTree tree = treeWithFile("something");
    FileOperation rename = operation(FileOperation::kRename, 1, "m0");
    rename.target = "m1";

    FileTree whole = tree;
    whole.apply(rename);
    tree.applyNewName(rename);

    EXPECT_EQ(whole.names().size(), 1u);
    EXPECT_EQ(tree.names().size(), 2u);
    EXPECT_EQ(tree.file("m1").bytes, "something");
}

}  // namespace box
