// explain: every number and word of the system has a meaning.
#include "switchctl/commands/Explanations.h"

#include "catalogue/OrvEventCatalogue.h"
#include "switchctl/status/Problems.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct ExplainCase {
    const char* word;
    const char* kind;
    const char* inText;
};

const ExplainCase EXPLAINED[] = {
    {"0x8b000013", "event log", "A send has failed: the reason is the stage"},
    {"8B000013", "event log", "A send has failed"},
    {"128/0x8b000013", "event log", "A send has failed"},
    {"Will retry sending via SMTP server=a, port=25, after 5 seconds", "event log", "the next one goes to this server"},
    {"recovery of smtp", "event log", "The first success after a failure."},
    {"550", "reply", "refused for good: no such mailbox"},
    {"550 5.1.1", "enhanced status", "there is no such mailbox"},
    {"550-5.1.1 unknown", "enhanced status", "there is no such mailbox"},
    {"451 4.7.1", "reply", "orvApp tries a recipient once more"},
    {"5.7.1", "enhanced status", "the server's rules forbid it"},
    {"599", "reply", "refused for good"},
    {"4.9.99", "enhanced status", "not known here"},
    {"7", "response status", "there is no other mail server to change to"},
    {"0", "response status", "done"},
    {"$", "mark", "refused for now, tried once more"},
    {"!", "mark", "delivered"},
    {"alarm", "level", "gets Alarm and Fault"},
    {"16", "level", "restoring the queue"},
    {"sender-missing", "problem", "there is no sender address"},
    {"bad-status", "fault", "the answer has another status"},
};

TEST(Explanations, areGivenForWhateverStandsOnAScreen) {
    for (const ExplainCase& one : EXPLAINED) {
        std::string all;
        for (const Explanation& each : explanationsOf(one.word)) {
            all += each.kind + ": " + each.text + "\n";
        }
        EXPECT_THAT(all, HasSubstr(one.kind)) << one.word;
        EXPECT_THAT(all, HasSubstr(one.inText)) << one.word;
    }
}

TEST(Explanations, anEntryOfTheLogIsOfOneKind) {
    EXPECT_THAT(explanationsOf("Successful recovery of SMTP communications"), SizeIs(1));
}

TEST(Explanations, areThereForEveryNumberOfTheCatalogueAndEveryProblem) {
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        char number[16];
        std::snprintf(number, sizeof number, "0x%08x", unsigned{row.id});
        EXPECT_FALSE(explanationsOf(number).empty()) << number;
    }
    for (const ProblemRow& row : knownProblems()) {
        EXPECT_FALSE(explanationsOf(row.kind.id).empty()) << row.kind.id;
    }
}

TEST(Explanations, thereIsNoneOfWhatNobodyKnows) {
    for (const char* word : {"", "nonsense", "999", "100", "0x12345678", "1.2", "5.1.", "&", "-1", "8"}) {
        EXPECT_THAT(explanationsOf(word), IsEmpty()) << word;
    }
}

}  // namespace
