#include "box/cuts/CutState.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace box {
namespace {

// A file of two sectors is made whole under another name, the old way: nobody waits for the disk.
FileOperations madeWhole() {
    FileOperations operations(4);
    operations[0].kind = FileOperation::kMakeDirectory;
    operations[0].path = "d";
    operations[1].kind = FileOperation::kCreate;
    operations[1].path = "d/order.new";
    operations[2].kind = FileOperation::kWrite;
    operations[2].path = "d/order.new";
    operations[2].bytes = std::string(512, 'a') + std::string(100, 'b');
    operations[3].kind = FileOperation::kRename;
    operations[3].path = "d/order.new";
    operations[3].target = "d/order";
    for (std::size_t i = 1; i < 4; ++i) {
        operations[i].file = 1;
    }
    return operations;
}

FileOperation sync(std::uint32_t file, const std::string& path) {
    FileOperation operation;
    operation.kind = FileOperation::kSync;
    operation.file = file;
    operation.path = path;
    return operation;
}

// What the new name can hold.
std::set<std::string> contentsAfterCuts(const FileOperations& operations) {
    std::set<std::string> contents;
    Random chance(1);
    for (std::size_t i = 0; i < 5000; ++i) {
        const FileTree tree = treeOf({}, operations, drawState(operations, operations.size(), 1 + i % 3, chance));
        if (tree.names().count("d/order") > 0) {
            contents.insert(tree.file("d/order").bytes);
        }
    }
    return contents;
}

}  // namespace

TEST(CutState, mayHaveANameBeforeItsBytesOrInPart) {
    const std::string a(512, 'a');
    const std::string b(100, 'b');
    const std::set<std::string> expected{
        "", a + b, a, a + std::string(100, '\0'), std::string(512, '\0') + b, std::string(612, '\0')};

    EXPECT_EQ(contentsAfterCuts(madeWhole()), expected);
}

TEST(CutState, hasAllBytesOfAFileThatWasSynchronisedBeforeItsRename) {
    FileOperations operations = madeWhole();
    operations.insert(operations.begin() + 3, sync(1, "d/order.new"));

    EXPECT_EQ(contentsAfterCuts(operations), std::set<std::string>{madeWhole()[2].bytes});
}

TEST(CutState, hasAllNamesOfADirectoryThatWasSynchronised) {
    FileOperations operations = madeWhole();
    operations.push_back(sync(0, "d"));

    EXPECT_FALSE(isSynchronised(operations, 0, 5));
    EXPECT_TRUE(isSynchronised(operations, 1, 5));
    EXPECT_FALSE(isSynchronised(operations, 2, 5));
    EXPECT_TRUE(isSynchronised(operations, 3, 5));
    EXPECT_FALSE(isSynchronised(operations, 3, 4)) << "the cut came before it";
}

TEST(CutState, hasWhatTheKernelHasWrittenUnasked) {
    FileOperations operations = madeWhole();
    operations[3].at = CutState::kWrittenUnasked;
    EXPECT_FALSE(isSynchronised(operations, 2, 4));
    operations[3].at += kSecond;
    EXPECT_TRUE(isSynchronised(operations, 2, 4));
}

TEST(CutState, isThatOfAKillWithoutDamages) {
    const FileOperations operations = madeWhole();
    FileTree tree;
    for (std::size_t cut = 0; cut <= operations.size(); ++cut) {
        EXPECT_EQ(treeOf({}, operations, {cut, {}}).digest(), tree.digest());
        if (cut < operations.size()) {
            tree.apply(operations[cut]);
        }
    }
}

TEST(CutState, doesNotBringBackANameThatALaterOperationHasTaken) {
    FileOperations operations = madeWhole();
    operations.push_back(operations[1]);
    operations.back().file = 2;
    operations.back().path = "d/order";

    const FileTree tree = treeOf({}, operations, {5, {{3, Damage::kLate, 0, true}}});

    EXPECT_EQ(tree.names().at("d/order"), 2u);
}

TEST(CutState, saysWhatWasDamagedAndHow) {
    FileOperation write;
    write.path = "ostrel/conf/orv/callHome/queues/send/m12";
    EXPECT_EQ(causeOf(write, {0, Damage::kTorn, 0, true}), "an entry's file: write torn");
    write.path = "ostrel/conf/orv/callHome/queues/send/order.new";
    write.kind = FileOperation::kRename;
    EXPECT_EQ(causeOf(write, {0, Damage::kBothNames, 0, true}), "an order file: rename under both names");
    write.path = "ostrel/conf/orv/callHome/queues/send";
    write.kind = FileOperation::kMakeDirectory;
    EXPECT_EQ(causeOf(write, {0, Damage::kMissing, 0, true}), "a directory: name missing");
}

}  // namespace box
