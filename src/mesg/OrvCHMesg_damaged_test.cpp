// Message files that a power cut or a bad flash block has left: restoring ends, and says what is wrong.
#include "testing/mesg/MesgTest.h"

#include <algorithm>
#include <random>

using testing::IsEmpty;

namespace {

class OrvCHMesgDamaged : public MesgTest {
protected:
    int restore(const std::string& file) {
        writeFile(kFile, file);
        forgetTraces();
        OrvCHMesg mesg;
        mesg.FileName = kFile;
        return mesg.restore();
    }

    // The text a cut must give when it ends inside a container, an element's value or a line of its own.
    static bool isEndOfFile(const std::string& text) {
        return text == "[FAIL] Start tag not found" || text == "[FAIL] bad token" || text == "[FAIL] bad format" ||
               text == "[FAIL] bad envelope" || text == "[FAIL] unexpected EOF" ||
               text == "[FAIL] unexpected EOF while processing envelopes" ||
               text.rfind("[FAIL] unexpected EOF (", 0) == 0 || text.rfind("[FAIL] missing EOR", 0) == 0;
    }

    std::vector<std::string> failures() const {
        std::vector<std::string> failed;
        for (const std::string& text : traces()) {
            if (text.rfind("[FAIL]", 0) == 0) {
                failed.push_back(text);
            }
        }
        return failed;
    }
};

// A message file with every element, twice the envelope list's envelopes and a few unknown elements.
std::string richFile() {
    std::string file = kSampleFile;
    const std::size_t envelope = file.find("<OrvCHEnvelope>");
    const std::size_t end = file.find("</EnvelopeList>");
    const std::string second = file.substr(envelope, end - envelope);
    file.insert(end, second);
    file.insert(file.find("<Text>"), "<Box>\n<In>\n1\n</->\n</Box>\n");
    file.insert(file.find("<Subj>"), "<Colour>\nblue\n</->\n");
    return file;
}

}  // namespace

// What a power cut leaves of a file whose length came to the disk, and some of whose bytes did not.
TEST_F(OrvCHMesgDamaged, isRefusedWithAHoleInIt) {
    const std::string file = richFile();
    const std::size_t end = file.rfind("</OrvCHMesg>");
    for (std::size_t at = 0; at < end; at += 7) {
        for (const std::size_t length : {std::size_t{1}, std::size_t{30}, std::size_t{512}}) {
            std::string holed = file;
            holed.replace(at, std::min(length, end - at), std::min(length, end - at), '\0');
            ASSERT_EQ(restore(holed), -1) << at << ", " << length;
        }
    }
}

TEST_F(OrvCHMesgDamaged, isReadWithAHoleBehindIt) {
    EXPECT_EQ(restore(richFile() + std::string(512, '\0') + "\n"), 0);
}

TEST_F(OrvCHMesgDamaged, isRefusedWhereverItIsCut) {
    const std::string file = richFile();
    for (std::size_t length = 1; length + 1 < file.size(); ++length) {
        ASSERT_EQ(restore(file.substr(0, length)), -1) << length;
        const std::vector<std::string> failed = failures();
        ASSERT_GE(failed.size(), 1u) << length;
        ASSERT_LE(failed.size(), 2u) << length;
        EXPECT_TRUE(isEndOfFile(failed[0])) << length << ": " << failed[0];
        if (failed.size() == 2) {
            EXPECT_EQ(failed[1], "[FAIL] bad envelope") << length;
        }
    }
    EXPECT_THAT(eventLog(), IsEmpty());
}

TEST_F(OrvCHMesgDamaged, isIgnoredWhenItIsCutToNothing) {
    EXPECT_EQ(restore(""), -1);
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_EQ(eventLog().size(), 1u);
}

TEST_F(OrvCHMesgDamaged, isWholeWithoutItsLastLineFeed) {
    const std::string file = richFile();
    EXPECT_EQ(restore(file), 0);
    EXPECT_EQ(restore(file.substr(0, file.size() - 1)), 0);
}

TEST_F(OrvCHMesgDamaged, endsForAnyBytes) {
    std::mt19937 random(20231114);
    for (int round = 0; round < 300; ++round) {
        std::string file = round % 2 == 0 ? "<OrvCHMesg>\n" : "";
        for (auto length = random() % 400 + 1; length > 0; --length) {
            file += random() % 8 == 0 ? '\n' : static_cast<char>(random());
        }
        EXPECT_EQ(restore(file), -1);
        EXPECT_EQ(failures().size(), 1u);
    }
}

TEST_F(OrvCHMesgDamaged, endsForAnyMixtureOfItsLines) {
    std::vector<std::string> lines;
    const std::string file = richFile();
    for (std::size_t at = 0; at < file.size();) {
        const std::size_t next = file.find('\n', at) + 1;
        lines.push_back(file.substr(at, next - at));
        at = next;
    }
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        std::string mixture = "<OrvCHMesg>\n";
        for (auto count = random() % 120; count > 0; --count) {
            mixture += lines[random() % lines.size()];
        }
        if (restore(mixture) < 0) {
            const std::vector<std::string> all = traces();
            const bool said =
                !failures().empty() || std::find(all.begin(), all.end(), "Message ID length invalid") != all.end();
            EXPECT_TRUE(said) << mixture;
        } else {
            EXPECT_THAT(failures(), IsEmpty());
        }
    }
}

TEST_F(OrvCHMesgDamaged, endsForAnyChangedByte) {
    const std::string file = richFile();
    std::mt19937 random(99);
    for (std::size_t at = 0; at < file.size(); ++at) {
        std::string changed = file;
        changed[at] = static_cast<char>(random());
        const int result = restore(changed);
        const std::vector<std::string> all = traces();
        const bool badId = std::any_of(all.begin(), all.end(), [](const std::string& text) {
            return text == "Message ID length invalid" || text == "Message ID field separator invalid";
        });
        EXPECT_EQ(result == 0, failures().empty() && !badId) << at;
    }
}
