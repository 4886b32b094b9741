#include "testing/mesg/MesgTest.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A file's text with one part of it replaced.
std::string with(const std::string& part, const std::string& replacement, std::string file = kSampleFile) {
    const std::size_t at = file.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return file.replace(at, part.size(), replacement);
}

// The sample file's text up to and with a part of it.
std::string upTo(const std::string& part) {
    const std::string file = kSampleFile;
    EXPECT_NE(file.find(part), std::string::npos) << part;
    return file.substr(0, file.find(part) + part.size());
}

class OrvCHMesgRestore : public MesgTest {
protected:
    // Restores a message from a file of this text, with the trace forgotten before.
    int restore(const std::string& file, OrvCHMesg& mesg) {
        writeFile(kFile, file);
        forgetTraces();
        mesg.FileName = kFile;
        return mesg.restore();
    }

    // The trace after the line that every restore begins with.
    std::vector<std::string> failures() const {
        std::vector<std::string> lines = traces();
        EXPECT_FALSE(lines.empty());
        EXPECT_EQ(lines[0], std::string("restoring from file ") + kFile);
        lines.erase(lines.begin());
        return lines;
    }

    // What the message would be saved as.
    std::string savedAgain(OrvCHMesg& mesg) {
        mesg.FileName = "/tmp/again";
        EXPECT_EQ(mesg.save(), 0);
        return readFile("/tmp/again");
    }

    // The estimate as it stands; asking for it would add what is missing of it.
    std::string shownEstimate(const OrvCHMesg& mesg) {
        forgetTraces();
        mesg.probe();
        return traces().at(2);
    }

    void expectRestored(const std::string& file, const std::string& same) {
        OrvCHMesg mesg;
        EXPECT_EQ(restore(file, mesg), 0) << file;
        EXPECT_EQ(savedAgain(mesg), same);
    }

    void expectRefused(const std::string& file, const std::vector<std::string>& expected) {
        OrvCHMesg mesg;
        EXPECT_EQ(restore(file, mesg), -1) << file;
        EXPECT_EQ(failures(), expected) << file;
        EXPECT_THAT(eventLog(), IsEmpty());
    }

    // As expectRefused, for a file that is refused after its identifier has been read.
    void expectRefusedAfterId(const std::string& file, std::vector<std::string> expected) {
        expected.insert(expected.begin(), {"Entry", "Message Type = LogEvent"});
        expectRefused(file, expected);
    }
};

// No further file can be opened while it lives.
class NoDescriptors {
public:
    NoDescriptors() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        rlimit none = before_;
        none.rlim_cur = 0;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
};

constexpr char kEnvelope[] =
    "<OrvCHEnvelope>\n<MaxSize>\n650\n</->\n<Type>\nFullText\n</->\n<Profile>\nNight shift\n</->\n"
    "<Subj>\nSwitch 12\n</->\n<RcptList>\n!ann@example.com\nbob@example.com\n</RcptList>\n</OrvCHEnvelope>\n";

}  // namespace

TEST_F(OrvCHMesgRestore, readsEveryFieldOfALogEventBack) {
    OrvCHMesg mesg;
    ASSERT_EQ(restore(kSampleFile, mesg), 0);

    EXPECT_EQ(mesg.DuplicateCount, 3);
    EXPECT_EQ(mesg.DuplicateTime, "Tue Nov 14 22:14:20 UTC 2023");
    EXPECT_EQ(mesg.Time, "Tue Nov 14 22:13:20.123 UTC 2023");
    EXPECT_EQ(mesg.ID, "0123.4567");
    EXPECT_EQ(mesg.Text, "100% of port 5 lost");
    EXPECT_EQ(mesg.Type, OrvCHMesg::kLogEvent);
    EXPECT_EQ(mesg.duplicateKey(), sampleLogEvent()->duplicateKey());
    ASSERT_EQ(mesg.Envelopes.size(), 1u);
    EXPECT_EQ(mesg.Envelopes[0]->MaxSize, 650u);
    EXPECT_EQ(mesg.Envelopes[0]->Type, "FullText");
    EXPECT_EQ(mesg.Envelopes[0]->ProfileName, "Night shift");
    EXPECT_EQ(mesg.Envelopes[0]->Subject, "Switch 12");
    EXPECT_THAT(mesg.Envelopes[0]->Recipients, ElementsAre("!ann@example.com", "bob@example.com"));
    EXPECT_THAT(traceLines(), ElementsAre("OrvCHMesg restore: restoring from file " + std::string(kFile),
                                          "OrvCHMesg createMesgByType: Entry",
                                          "OrvCHMesg createMesgByType: Message Type = LogEvent"));
    EXPECT_THAT(eventLog(), IsEmpty());
    EXPECT_EQ(savedAgain(mesg), kSampleFile);
}

TEST_F(OrvCHMesgRestore, readsABareLogEventBackWithEmptyFields) {
    OrvCHMesg bare(OrvCHMesg::kLogEvent);
    bare.FileName = kFile;
    bare.ID = "0000.0001";
    ASSERT_EQ(bare.save(), 0);
    const std::string file = readFile(kFile);
    expectRestored(file, file);
}

TEST_F(OrvCHMesgRestore, ignoresMissingAndEmptyFiles) {
    OrvCHMesg mesg;
    EXPECT_EQ(restore("", mesg), -1);
    const std::string text = std::string("File ") + kFile + " is empty, ignoring";
    EXPECT_THAT(traceLines(), ElementsAre("OrvCHMesg restore: " + text));
    EXPECT_THAT(eventLog(), ElementsAre(EventLogCall{false, 15, 0x8B000001u, 4096, text}));

    mesg.FileName = "/ostrel/gone/100%s";
    forgetTraces();
    EXPECT_EQ(mesg.restore(), -1);
    EXPECT_THAT(traces(), ElementsAre("File /ostrel/gone/100%s is empty, ignoring"));
    EXPECT_EQ(eventLog().back().text, "File /ostrel/gone/100%s is empty, ignoring");
}

TEST_F(OrvCHMesgRestore, tracesAFileThatCannotBeOpened) {
    writeFile(kFile, kSampleFile);
    OrvCHMesg mesg;
    mesg.FileName = kFile;
    int result = 0;
    {
        const NoDescriptors noDescriptors;
        result = mesg.restore();
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(failures(), ElementsAre(std::string("[FAIL] could not open ") + kFile));
}

// Some file systems give directories a size of 0.
TEST_F(OrvCHMesgRestore, findsNoMessageInADirectory) {
    std::filesystem::create_directory(host(kFile));
    OrvCHMesg mesg;
    mesg.FileName = kFile;
    EXPECT_EQ(mesg.restore(), -1);
    EXPECT_THAT(traces().back(),
                testing::AnyOf("[FAIL] Start tag not found", std::string("File ") + kFile + " is empty, ignoring"));
}

TEST_F(OrvCHMesgRestore, doesNotWaitForAPipeInTheFilesPlace) {
    ASSERT_EQ(mkfifo(host(kFile).c_str(), 0600), 0);
    OrvCHMesg mesg;
    mesg.FileName = kFile;
    EXPECT_EQ(mesg.restore(), -1);
    EXPECT_THAT(traces(), ElementsAre(std::string("File ") + kFile + " is empty, ignoring"));
}

TEST_F(OrvCHMesgRestore, ignoresLinesBeforeTheStartTag) {
    expectRestored("scribble\n</->\n\n<Text>\n<OrvCHMesg\n" + std::string(kSampleFile), kSampleFile);
}

TEST_F(OrvCHMesgRestore, ignoresLinesAfterTheEndTag) {
    expectRestored(std::string(kSampleFile) + "scribble\n<OrvCHMesg>\n", kSampleFile);
}

TEST_F(OrvCHMesgRestore, refusesAFileWithoutStartTag) {
    expectRefused("scribble\n", {"[FAIL] Start tag not found"});
    expectRefused("<OrvCHMesg> \n", {"[FAIL] Start tag not found"});
}

TEST_F(OrvCHMesgRestore, refusesAFileThatEndsAfterTheStartTag) {
    expectRefused("<OrvCHMesg>\n", {"[FAIL] unexpected EOF"});
    expectRefused("<OrvCHMesg>", {"[FAIL] unexpected EOF"});
}

struct CountCase {
    const char* value;
    std::int32_t count;
};

TEST_F(OrvCHMesgRestore, readsTheDuplicateCountAsASignedNumber) {
    const CountCase cases[] = {{"-3", -3}, {"0", 0},  {"12 apples", 12},           {"apples", 0},
                               {"", 0},    {"+7", 7}, {"99999999999", 2147483647}, {"-99999999999", INT32_MIN},
                               {"  5", 5}};
    for (const CountCase& c : cases) {
        OrvCHMesg mesg;
        ASSERT_EQ(restore(with("<DupCnt>\n3", std::string("<DupCnt>\n") + c.value), mesg), 0) << c.value;
        EXPECT_EQ(mesg.DuplicateCount, c.count) << c.value;
    }
}

TEST_F(OrvCHMesgRestore, readsTheMaximumSizeAsASignedNumber) {
    const CountCase cases[] = {
        {"4000000000", 2147483647}, {"2147483647", 2147483647}, {"-1", -1}, {"650 bytes", 650}, {"", 0}};
    for (const CountCase& c : cases) {
        OrvCHMesg mesg;
        ASSERT_EQ(restore(with("<MaxSize>\n650", std::string("<MaxSize>\n") + c.value), mesg), 0) << c.value;
        EXPECT_EQ(mesg.Envelopes[0]->MaxSize, static_cast<std::uint32_t>(c.count)) << c.value;
    }
}

TEST_F(OrvCHMesgRestore, ignoresUnknownElements) {
    const std::string simple = "<Colour>\nblue\n</->\n";
    const std::string container = "<Box>\n<In>\n1\n</->\n<In>\n</In>\ntext\n</Box>\n";
    for (const std::string& unknown : {simple, container, simple + container}) {
        expectRestored(with("<Time>", unknown + "<Time>"), kSampleFile);
        expectRestored(with("<Level>", unknown + "<Level>"), kSampleFile);
        expectRestored(with("</OrvCHMesg>", unknown + "</OrvCHMesg>"), kSampleFile);
        expectRestored(with("<MaxSize>", unknown + "<MaxSize>"), kSampleFile);
        expectRestored(with("</OrvCHEnvelope>", unknown + "</OrvCHEnvelope>"), kSampleFile);
        expectRestored(with("<OrvCHEnvelope>", unknown + "<OrvCHEnvelope>"), kSampleFile);
    }
}

TEST_F(OrvCHMesgRestore, acceptsElementsInAnyOrderAfterTheIdentifier) {
    const std::string text = "<Text>\n100% of port 5 lost\n</->\n";
    const std::string time = "<Time>\nTue Nov 14 22:13:20.123 UTC 2023\n</->\n";
    const std::string list = std::string("<EnvelopeList>\n") + kEnvelope + "</EnvelopeList>\n";
    std::string file = with(text, "", with(time, "", with(list, "")));
    file = with("<DupCnt>", list + text + "<DupCnt>", file);
    expectRestored(with("</OrvCHMesg>", time + "</OrvCHMesg>", file), kSampleFile);
}

TEST_F(OrvCHMesgRestore, takesTheLastOfRepeatedElements) {
    expectRestored(with("<Text>", "<Text>\nold\n</->\n<Text>"), kSampleFile);
    expectRestored(with("<Level>", "<Level>\nInfo\n</->\n<Level>"), kSampleFile);
    expectRestored(with("<MaxSize>", "<MaxSize>\n1\n</->\n<MaxSize>"), kSampleFile);
}

TEST_F(OrvCHMesgRestore, addsUpEnvelopeAndRecipientLists) {
    OrvCHMesg mesg;
    const std::string second = std::string("<EnvelopeList>\n") + kEnvelope + kEnvelope + "</EnvelopeList>\n";
    ASSERT_EQ(restore(with("</OrvCHMesg>", second + "</OrvCHMesg>"), mesg), 0);
    EXPECT_EQ(mesg.Envelopes.size(), 3u);

    OrvCHMesg other;
    ASSERT_EQ(restore(with("</OrvCHEnvelope>", "<RcptList>\n#eve@x\n</RcptList>\n</OrvCHEnvelope>"), other), 0);
    EXPECT_THAT(other.Envelopes[0]->Recipients, ElementsAre("!ann@example.com", "bob@example.com", "#eve@x"));
}

TEST_F(OrvCHMesgRestore, startsTheTypeDataAfreshAtASecondIdentifier) {
    const std::string again = with("</OrvCHMesg>", "<ID>\n0123.4567\n</->\n</OrvCHMesg>");
    OrvCHMesg mesg;
    EXPECT_EQ(restore(again, mesg), 0);
    EXPECT_EQ(mesg.duplicateKey(), "Info|||||||100% of port 5 lost");
}

TEST_F(OrvCHMesgRestore, readsAnEnvelopeWithoutProfileNameAndOneWithoutRecipients) {
    expectRestored(with("<Profile>\nNight shift\n</->\n", ""), with("<Profile>\nNight shift", "<Profile>\n"));
    expectRestored(with("!ann@example.com\nbob@example.com\n", ""), with("!ann@example.com\nbob@example.com\n", ""));
}

TEST_F(OrvCHMesgRestore, readsAFileWithoutEnvelopes) {
    const std::string file = with(kEnvelope, "");
    expectRestored(file, file);
}

TEST_F(OrvCHMesgRestore, ignoresAStrayEndOfAListThatWasRead) {
    expectRestored(with("</OrvCHMesg>", "</EnvelopeList>\n</OrvCHMesg>"), kSampleFile);
    expectRestored(with("</OrvCHEnvelope>", "</RcptList>\n</OrvCHEnvelope>"), kSampleFile);
}

TEST_F(OrvCHMesgRestore, refusesAMessageThatLacksAnElement) {
    for (const char* element : {"<DupCnt>\n3\n</->\n", "<DupTime>\nTue Nov 14 22:14:20 UTC 2023\n</->\n",
                                "<Time>\nTue Nov 14 22:13:20.123 UTC 2023\n</->\n", "<Level>\nAlarm\n</->\n",
                                "<Text>\n100% of port 5 lost\n</->\n"}) {
        expectRefusedAfterId(with(element, ""), {"[FAIL] attributes missing"});
    }
    expectRefusedAfterId(with(std::string("<EnvelopeList>\n") + kEnvelope + "</EnvelopeList>\n", ""),
                         {"[FAIL] attributes missing"});
    expectRefused(with("<ID>\n0123.4567\n</->\n", ""), {"[FAIL] attributes missing"});
    expectRefused("<OrvCHMesg>\n</OrvCHMesg>\n", {"[FAIL] attributes missing"});
}

TEST_F(OrvCHMesgRestore, refusesAnEnvelopeThatLacksAnElement) {
    for (const char* element : {"<MaxSize>\n650\n</->\n", "<Type>\nFullText\n</->\n", "<Subj>\nSwitch 12\n</->\n",
                                "<RcptList>\n!ann@example.com\nbob@example.com\n</RcptList>\n"}) {
        expectRefusedAfterId(with(element, ""), {"[FAIL] attributes missing", "[FAIL] bad envelope"});
    }
}

TEST_F(OrvCHMesgRestore, refusesALevelThatComesBeforeTheIdentifier) {
    const std::string level = "<Level>\nAlarm\n</->\n";
    expectRefusedAfterId(with("<ID>", level + "<ID>", with(level, "")), {"[FAIL] attributes missing"});
}

TEST_F(OrvCHMesgRestore, refusesATextThatHeldALineFeed) {
    expectRefusedAfterId(with("100% of port 5 lost", "first\nsecond"), {"[FAIL] missing EOR (<Text>)"});
}

struct ValueCase {
    const char* tag;
    const char* value;
    bool afterId;
    bool inEnvelope;
};

TEST_F(OrvCHMesgRestore, namesTheElementWhoseEndIsMissing) {
    const ValueCase cases[] = {
        {"<DupCnt>", "3", false, false},
        {"<DupTime>", "Tue Nov 14 22:14:20 UTC 2023", false, false},
        {"<ID>", "0123.4567", false, false},
        {"<Time>", "Tue Nov 14 22:13:20.123 UTC 2023", false, false},
        {"<Level>", "Alarm", true, false},
        {"<Blade>", "Blade: 2", true, false},
        {"<ASIC>", "2.5", true, false},
        {"<Port>", "5", true, false},
        {"<VID>", "77", true, false},
        {"<App>", "Port", true, false},
        {"<Comp>", "fan:1.2.3", true, false},
        {"<Text>", "100% of port 5 lost", true, false},
        {"<MaxSize>", "650", true, true},
        {"<Type>", "FullText", true, true},
        {"<Profile>", "Night shift", true, true},
        {"<Subj>", "Switch 12", true, true},
    };
    for (const ValueCase& c : cases) {
        std::vector<std::string> expected = {std::string("[FAIL] missing EOR (") + c.tag + ")"};
        if (c.inEnvelope) {
            expected.emplace_back("[FAIL] bad envelope");
        }
        const std::string element = std::string(c.tag) + "\n" + c.value + "\n";
        const std::string file = with(element + "</->\n", element);
        c.afterId ? expectRefusedAfterId(file, expected) : expectRefused(file, expected);
    }
}

TEST_F(OrvCHMesgRestore, refusesWrongIdentifiers) {
    expectRefused(with("0123.4567", "0123.456"), {"Entry", "Message ID length invalid"});
    expectRefused(with("0123.4567", "012345678"), {"Entry", "Message ID field separator invalid"});
}

TEST_F(OrvCHMesgRestore, refusesTheEndOfAListBeforeItsStart) {
    expectRefusedAfterId(with("<EnvelopeList>\n", "</EnvelopeList>\n"),
                         {"[FAIL] token out of order, ENVENDTAG before ENVSTARTTAG"});
    expectRefusedAfterId(with("<RcptList>\n", "</RcptList>\n"),
                         {"[FAIL] token out of order, RCPTENDTAG before RCPTSTARTTAG", "[FAIL] bad envelope"});
}

TEST_F(OrvCHMesgRestore, refusesLinesThatAreNoTags) {
    for (const char* line : {"scribble", "", "<", "</->", "</Text>", "Text>", "<Text"}) {
        expectRefusedAfterId(with("<Text>", std::string(line) + "\n<Text>"), {"[FAIL] bad token"});
        expectRefusedAfterId(with("<Subj>", std::string(line) + "\n<Subj>"),
                             {"[FAIL] bad format", "[FAIL] bad envelope"});
    }
}

TEST_F(OrvCHMesgRestore, refusesUnknownElementsWithoutEnd) {
    expectRefusedAfterId(with("</OrvCHMesg>", "<Box>\n</OrvCHMesg>"), {"[FAIL] bad envelope"});
    const std::string upToEnvelopeEnd = std::string(kSampleFile).substr(0, std::string(kSampleFile).find("</OrvCHEnv"));
    expectRefusedAfterId(upToEnvelopeEnd + "<Box>\nmore\n", {"[FAIL] bad envelope"});
}

TEST_F(OrvCHMesgRestore, refusesAnEnvelopeListThatHoldsNoEnvelope) {
    expectRefusedAfterId(with(kEnvelope, "scribble\n"), {"[FAIL] unexpected EOF", "[FAIL] bad envelope"});
}

TEST_F(OrvCHMesgRestore, refusesAFileThatEndsInTheEnvelopeList) {
    expectRefusedAfterId(upTo("<EnvelopeList>\n"), {"[FAIL] unexpected EOF while processing envelopes"});
    expectRefusedAfterId(upTo("</OrvCHEnvelope>\n"), {"[FAIL] unexpected EOF while processing envelopes"});
}

TEST_F(OrvCHMesgRestore, refusesAFileThatEndsInAnEnvelopeOrItsRecipients) {
    for (const char* last :
         {"<OrvCHEnvelope>\n", "<Subj>\nSwitch 12\n</->\n", "<RcptList>\n", "bob@example.com\n", "</RcptList>\n"}) {
        expectRefusedAfterId(upTo(last), {"[FAIL] unexpected EOF", "[FAIL] bad envelope"});
    }
}

TEST_F(OrvCHMesgRestore, countsTheMessagePartAtTheEndTagEvenWhenAttributesAreMissing) {
    OrvCHMesg mesg;
    ASSERT_EQ(restore(with("<Text>\n100% of port 5 lost\n</->\n", ""), mesg), -1);
    const auto same = sampleLogEvent();
    same->Text = "";
    EXPECT_EQ(shownEstimate(mesg), "    BytesToSave = " + std::to_string(same->bytesToSave()));
}

TEST_F(OrvCHMesgRestore, keepsTheEnvelopesShareOfTheEstimateAfterAFailure) {
    OrvCHMesg mesg;
    ASSERT_EQ(restore(with("</OrvCHMesg>", "scribble\n</OrvCHMesg>"), mesg), -1);
    EXPECT_EQ(shownEstimate(mesg), "    BytesToSave = " + std::to_string(sampleEnvelope()->bytesToSave()));
}

TEST_F(OrvCHMesgRestore, keepsWhatWasReadBeforeAFailure) {
    OrvCHMesg mesg;
    ASSERT_EQ(restore(with("</EnvelopeList>", std::string(kEnvelope) + "<OrvCHEnvelope>\nscribble"), mesg), -1);
    EXPECT_EQ(mesg.Text, "100% of port 5 lost");
    ASSERT_NE(mesg.logEvent(), nullptr);
    EXPECT_EQ(mesg.logEvent()->App, "Port");
    EXPECT_EQ(mesg.Envelopes.size(), 2u);
}

TEST_F(OrvCHMesgRestore, replacesTheEstimateAtTheStartTag) {
    OrvCHMesg mesg;
    mesg.addEnvelope(sampleEnvelope());
    static_cast<void>(mesg.bytesToSave());
    mesg.Envelopes.clear();
    ASSERT_EQ(restore(kSampleFile, mesg), 0);
    EXPECT_EQ(mesg.bytesToSave(), sampleLogEvent()->bytesToSave());
}

TEST_F(OrvCHMesgRestore, refusesACaptureFileBecauseItsIdentifierComesBackAsALogEvent) {
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.FileName = kFile;
    capture.ID = "8B00.FFFF";
    capture.cronCapture()->Attachments = {"a.gz", "<odd>.gz"};
    capture.addEnvelope(sampleEnvelope());
    ASSERT_EQ(capture.save(), 0);

    expectRefusedAfterId(readFile(kFile), {"[FAIL] attributes missing"});
    capture.cronCapture()->Attachments.clear();
}

// Only a message that is a capture before its file is read gets this far.
TEST_F(OrvCHMesgRestore, takesCaptureElementsAheadOfTheIdentifier) {
    const std::string capture =
        "<CronSeq>\n12\n</->\n<CronDay>\nMon\n</->\n<CronTime>\n05:30\n</->\n<CronInterval>\n2\n</->\n"
        "<CronShell>\n/bin/clish\n</->\n<CronCommand>\nshow\n</->\n<CronAttchList>\n</CronAttchList>\n";
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    EXPECT_EQ(restore(with("<ID>", capture + "<ID>", with("<Level>\nAlarm\n</->\n", "")), mesg), 0);

    OrvCHMesg incomplete(OrvCHMesg::kCronCapture);
    const std::string part = with("<CronShell>\n/bin/clish\n</->\n", "", capture);
    EXPECT_EQ(restore(with("<ID>", part + "<ID>", with("<Level>\nAlarm\n</->\n", "")), incomplete), -1);
    EXPECT_THAT(failures(), ElementsAre("Entry", "Message Type = LogEvent", "[FAIL] attributes missing"));
}

TEST_F(OrvCHMesgRestore, refusesCaptureElementsThatCannotBeRead) {
    OrvCHMesg text(OrvCHMesg::kCronCapture);
    EXPECT_EQ(restore("<OrvCHMesg>\n<CronDay>\nMon\n<CronTime>\n", text), -1);
    EXPECT_THAT(failures(), ElementsAre("[FAIL] missing EOR (<CronDay>)"));

    OrvCHMesg list(OrvCHMesg::kCronCapture);
    EXPECT_EQ(restore("<OrvCHMesg>\n<CronAttchList>\na.gz\n", list), -1);
    EXPECT_THAT(failures(), ElementsAre("[FAIL] bad envelope"));
    list.cronCapture()->Attachments.clear();
}
