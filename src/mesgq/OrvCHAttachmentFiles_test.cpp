#include "mesgq/OrvCHAttachmentFiles.h"

#include "testing/mesgq/MesgQTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::string kFrom = std::string(kAttachments) + "/";
const std::string kTo = std::string(kStage) + "/";

class OrvCHAttachmentFilesTest : public MesgQTest {
protected:
    void attachment(const std::string& name) { switch_.root().write(kFrom + name, "content of " + name); }
    void staged(const std::string& name) { switch_.root().write(kTo + name, "content of " + name); }
    Texts attachments() { return files(kAttachments); }
    Texts stage() { return files(kStage); }
    std::string state() { return switch_.root().read(kAttachmentState); }
    static OrvCHMesg capture(const std::vector<std::string>& names) {
        OrvCHMesg message(OrvCHMesg::kCronCapture);
        message.cronCapture()->Sequence = "7";
        message.cronCapture()->Attachments = names;
        return message;
    }

    OrvCHAttachmentFiles files_;
};

TEST_F(OrvCHAttachmentFilesTest, stagesEveryFileAndWritesStateZero) {
    attachment("a.7");
    attachment("b.8");
    takeTrace();

    files_.stageAttachments();

    EXPECT_THAT(attachments(), IsEmpty());
    EXPECT_EQ(stage(), (Texts{"a.7", "b.8"}));
    EXPECT_EQ(switch_.root().read(kTo + "a.7"), "content of a.7");
    EXPECT_EQ(state(), wordsToBytes({0}));
    EXPECT_THAT(takeLog(), IsEmpty());
    const Texts traced = takeTrace();
    ASSERT_EQ(traced.size(), 6u);
    EXPECT_EQ(traced[0], "stageAttachments: Entry\n");
    EXPECT_EQ(traced[1], "cleanDir: Entry: " + kTo + "\n");
    EXPECT_EQ(traced[2], "linkDirEntries: Entry: from " + kFrom + " to " + kTo + "\n");
    EXPECT_THAT((Texts{traced[3], traced[4]}),
                UnorderedElementsAre("linkDirEntries: from " + kFrom + "a.7 to " + kTo + "a.7\n",
                                     "linkDirEntries: from " + kFrom + "b.8 to " + kTo + "b.8\n"));
    EXPECT_EQ(traced[5], "cleanDir: Entry: " + kFrom + "\n");
}

TEST_F(OrvCHAttachmentFilesTest, theStateFileIsMadeWithMode0644) {
    const mode_t mask = ::umask(0);
    files_.stageAttachments();
    ::umask(mask);
    struct stat status = {};
    ASSERT_EQ(::stat(switch_.root().at(kAttachmentState).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0644));
}

TEST_F(OrvCHAttachmentFilesTest, anInterruptedStartKeepsTheStageAndDropsTheRest) {
    switch_.root().write(kAttachmentState, wordsToBytes({0}));
    staged("kept.7");
    attachment("half.7");
    takeTrace();

    files_.stageAttachments();

    EXPECT_THAT(attachments(), IsEmpty());
    EXPECT_EQ(stage(), Texts{"kept.7"});
    EXPECT_EQ(state(), wordsToBytes({0}));
    EXPECT_EQ(takeTrace(), (Texts{"stageAttachments: Entry\n", "cleanDir: Entry: " + kFrom + "\n"}));
}

TEST_F(OrvCHAttachmentFilesTest, anyOtherStateMeansNotStaged) {
    const std::string kStates[] = {"", "\0\0\0", wordsToBytes({1}), wordsToBytes({7}), wordsToBytes({1}) + "more"};
    for (const std::string& before : kStates) {
        switch_.root().write(kAttachmentState, before);
        staged("old.7");
        attachment("new.7");
        OrvCHAttachmentFiles fresh;
        fresh.stageAttachments();
        EXPECT_EQ(stage(), Texts{"new.7"});
        EXPECT_THAT(attachments(), IsEmpty());
        EXPECT_EQ(state().substr(0, 4), wordsToBytes({0}));
    }
    switch_.root().write(kAttachmentState, std::string(3, '\0'));
    staged("old.7");
    OrvCHAttachmentFiles fresh;
    fresh.stageAttachments();
    EXPECT_THAT(stage(), IsEmpty()) << "three zero bytes are not a state";
}

TEST_F(OrvCHAttachmentFilesTest, doesNothingMoreWithoutAStateFile) {
    switch_.root().write(std::string(kAttachmentState) + "/x", "");
    attachment("a.7");
    takeTrace();
    files_.stageAttachments();
    EXPECT_EQ(takeTrace(), Texts{"stageAttachments: Entry\n"});
    EXPECT_EQ(attachments(), Texts{"a.7"});
    EXPECT_THAT(takeLog(), IsEmpty());

    files_.cleanAttachments();
    EXPECT_FALSE(switch_.root().exists(kStage));
}

TEST_F(OrvCHAttachmentFilesTest, cleaningRemovesTheStageAndWritesStateOne) {
    files_.stageAttachments();
    staged("left.7");
    takeTrace();
    files_.cleanAttachments();
    EXPECT_EQ(takeTrace(), (Texts{"cleanAttachments: Entry\n", "cleanDir: Entry: " + kTo + "\n"}));
    EXPECT_FALSE(switch_.root().exists(kStage));
    EXPECT_EQ(state(), wordsToBytes({1}));
}

TEST_F(OrvCHAttachmentFilesTest, theStateFileStaysOpenForLife) {
    const std::string path =
        std::filesystem::canonical(switch_.root().at("/ostrel/conf/orv/callHome")).string() + "/attachments.state";
    const auto descriptors = [&path] {
        int count = 0;
        for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the iterator's own
            count += std::filesystem::read_symlink(each.path(), gone) == path;
        }
        return count;
    };
    {
        OrvCHAttachmentFiles attachments;
        EXPECT_EQ(descriptors(), 0) << "not before the first start";
        attachments.stageAttachments();
        EXPECT_EQ(descriptors(), 1);
        attachments.cleanAttachments();
        EXPECT_EQ(descriptors(), 1);
        attachments.stageAttachments();
        EXPECT_EQ(descriptors(), 1) << "nor a second one";
    }
    EXPECT_EQ(descriptors(), 0);
}

TEST_F(OrvCHAttachmentFilesTest, aMessageLinksItsOwnFilesBack) {
    for (const char* name : {"a.7", "b.7", "c.7"}) {
        staged(name);
    }
    OrvCHMesg message = capture({"a", "b"});
    takeTrace();
    OrvCHAttachmentFiles::linkAttachments(message);
    EXPECT_EQ(attachments(), (Texts{"a.7", "b.7"}));
    EXPECT_EQ(takeTrace(), (Texts{"reconstituteMsgFromFile: link(" + kTo + "a.7, " + kFrom + "a.7)\n",
                                  "reconstituteMsgFromFile: link(" + kTo + "b.7, " + kFrom + "b.7)\n"}));
    EXPECT_THAT(takeLog(), IsEmpty());

    files_.cleanAttachments();
    EXPECT_EQ(switch_.root().read(kFrom + "a.7"), "content of a.7");
    message.cronCapture()->Attachments.clear();  // its files outlive the test message
}

TEST_F(OrvCHAttachmentFilesTest, reportsFilesThatCannotBeLinkedBackAndGoesOn) {
    staged("b.7");
    OrvCHMesg message = capture({"gone", "b"});
    takeTrace();
    OrvCHAttachmentFiles::linkAttachments(message);
    EXPECT_EQ(attachments(), Texts{"b.7"});
    const std::string failure = "link(" + kTo + "gone.7, " + kFrom + "gone.7): No such file or directory\n";
    EXPECT_EQ(takeLog(), (Log{{16, failure}}));
    EXPECT_EQ(takeTrace()[1], "reconstituteMsgFromFile: " + failure);
}

TEST_F(OrvCHAttachmentFilesTest, aMessageWithoutAttachmentsLinksNothing) {
    OrvCHMesg event(OrvCHMesg::kLogEvent);
    takeTrace();
    OrvCHAttachmentFiles::linkAttachments(event);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(OrvCHAttachmentFilesTest, linkingFilesThatExistIsReportedAndGoesOn) {
    attachment("a.7");
    attachment("b.7");
    staged("a.7");
    takeTrace();
    OrvCHAttachmentFiles::linkDirEntries(kFrom, kTo);
    EXPECT_EQ(stage(), (Texts{"a.7", "b.7"}));
    const std::string failure = "link(" + kFrom + "a.7, " + kTo + "a.7): File exists\n";
    EXPECT_EQ(takeLog(), (Log{{16, failure}}));
    EXPECT_THAT(takeTrace(), Contains("linkDirEntries: " + failure));
}

TEST_F(OrvCHAttachmentFilesTest, directoriesThatCannotBeOpenedAreReported) {
    const std::string failure = "opendir(/no/such/): No such file or directory\n";
    takeTrace();
    OrvCHAttachmentFiles::linkDirEntries("/no/such/", kTo);
    OrvCHAttachmentFiles::cleanDir("/no/such/");
    EXPECT_EQ(takeLog(), (Log{{16, failure}, {16, failure}}));
    EXPECT_EQ(takeTrace(),
              (Texts{"linkDirEntries: Entry: from /no/such/ to " + kTo + "\n", "linkDirEntries: " + failure,
                     "cleanDir: Entry: /no/such/\n", "cleanDir: " + failure}));
}

TEST_F(OrvCHAttachmentFilesTest, cleansDirectoriesWithAllThatIsInThem) {
    switch_.root().write("/x/file", "");
    switch_.root().write("/x/sub/deeper/file", "");
    switch_.root().write("/x/sub/file", "");
    ASSERT_EQ(::symlink("/nowhere", switch_.root().at("/x/link").c_str()), 0);
    OrvCHAttachmentFiles::cleanDir("/x/");
    EXPECT_TRUE(switch_.root().exists("/x"));
    EXPECT_THAT(files("/x"), IsEmpty());
    EXPECT_THAT(takeTrace(), Contains("cleanDir: Entry: /x/sub/deeper/\n"));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(OrvCHAttachmentFilesTest, aLinkAmongTheAttachmentsIsReportedAndGoesWhereItLedStaysAsItWas) {
    switch_.root().write("/tmp/secret", "somebody else's");
    attachment("a.7");
    std::filesystem::create_symlink(switch_.root().at("/tmp/secret"), switch_.root().at(kFrom + "b.8"));

    files_.stageAttachments();

    EXPECT_EQ(stage(), Texts{"a.7"});
    EXPECT_THAT(attachments(), IsEmpty());
    EXPECT_EQ(switch_.root().read("/tmp/secret"), "somebody else's");
    const Log log = takeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_THAT(log[0].second, testing::HasSubstr("Too many levels of symbolic links"));
}

TEST_F(OrvCHAttachmentFilesTest, directoriesDeeperThanAnyOfTheDaemonsAreReportedAndStay) {
    std::string path = kTo;
    for (int level = 0; level < 32; ++level) {
        path += "d/";
    }
    std::filesystem::create_directories(switch_.root().at(path));

    files_.stageAttachments();

    EXPECT_TRUE(switch_.root().exists(path));
    const Log log = takeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_THAT(log[0].second, testing::HasSubstr("Too many open files"));
    std::filesystem::remove(switch_.root().at(path));
    files_.cleanAttachments();
    EXPECT_THAT(stage(), IsEmpty());
}

TEST_F(OrvCHAttachmentFilesTest, doesNotFollowALinkedDirectory) {
    switch_.root().write("/elsewhere/file", "kept");
    switch_.root().write("/x/file", "");
    ASSERT_EQ(::symlink(switch_.root().at("/elsewhere").c_str(), switch_.root().at("/x/link").c_str()), 0);
    OrvCHAttachmentFiles::cleanDir("/x/");
    EXPECT_THAT(files("/x"), IsEmpty());
    EXPECT_EQ(switch_.root().read("/elsewhere/file"), "kept");
}

TEST_F(OrvCHAttachmentFilesTest, purgingRemovesStateAndAllFiles) {
    files_.stageAttachments();
    attachment("a.7");
    staged("b.7");
    takeTrace();
    OrvCHAttachmentFiles::purgeAttachments();
    EXPECT_EQ(takeTrace(), (Texts{"purgeAttachments: Entry\n", "cleanDir: Entry: " + kFrom + "\n",
                                  "cleanDir: Entry: " + kTo + "\n"}));
    EXPECT_FALSE(switch_.root().exists(kAttachmentState));
    EXPECT_THAT(attachments(), IsEmpty());
    EXPECT_THAT(stage(), IsEmpty());

    OrvCHAttachmentFiles::purgeAttachments();
    const std::string failure = std::string("unlink(") + kAttachmentState + "): No such file or directory\n";
    EXPECT_EQ(takeLog(), (Log{{16, failure}}));
    EXPECT_THAT(takeTrace(), Contains("purgeAttachments: " + failure));
}

}  // namespace
