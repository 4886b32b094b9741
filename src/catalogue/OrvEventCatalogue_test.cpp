#include "catalogue/OrvEventCatalogue.h"

#include "catalogue/OrvLogEntries.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <tuple>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPage[] = ORV_SOURCE_DIR "/docs/event-log.md";

std::string fileText(const char* path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool isShared(std::uint32_t id) {
    return id == kOrvLogId || id == 0;
}

TEST(OrvEventCatalogue, givesEachNumberToOneTextOnly) {
    std::map<std::uint32_t, int> uses;
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        ++uses[row.id];
    }
    for (const auto& [id, count] : uses) {
        EXPECT_TRUE(isShared(id) || count == 1) << std::hex << id;
    }
}

TEST(OrvEventCatalogue, hasNoRowTwice) {
    std::set<std::tuple<int, std::uint32_t, std::string>> rows;
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        EXPECT_TRUE(rows.emplace(row.level, row.id, row.text).second) << row.name;
    }
}

TEST(OrvEventCatalogue, explainsEveryRow) {
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        EXPECT_STRNE(row.section, "") << row.name;
        EXPECT_STRNE(row.since, "") << row.name;
        EXPECT_STRNE(row.cause, "") << row.name;
        // Who reads an operator's entry wants to know what to do.
        EXPECT_TRUE(row.level > kOrvLogWarning || *row.remedy != '\0') << row.name;
    }
}

TEST(OrvEventCatalogue, isWhatThePageForOperatorsShows) {
    if (std::getenv("ORV_WRITE_PAGES") != nullptr) {
        std::ofstream(kPage) << orvEventLogPage();
    }
    EXPECT_EQ(fileText(kPage), orvEventLogPage()) << "ORV_WRITE_PAGES=1 makes docs/event-log.md anew";
}

TEST(OrvEventCatalogue, findsTheRowOfAnEntryAndWhatWasFilledIn) {
    const auto found = orvFindInCatalogue(
        3, 0x8b000015u, "Profile Ops: a, b@c via SMTP Server 192.0.2.1/25, SMTP error: 550 via SMTP Server");

    ASSERT_TRUE(found);
    EXPECT_STREQ(found->row.name, "kRecipientRefused");
    EXPECT_TRUE(found->is(orv_log::kRecipientRefused));
    EXPECT_FALSE(found->is(orv_log::kRecipientRetry));
    EXPECT_THAT(found->arguments, ElementsAre("Ops: a", "b@c", "192.0.2.1", "25", "550 via SMTP Server"));
}

TEST(OrvEventCatalogue, readsNumbersAsTheyArePrinted) {
    const auto unknown =
        orvFindInCatalogue(kOrvLogInternal, kOrvLogId, "OrvCHClient::processDsStatus() unhandled id 0x0000000c");
    ASSERT_TRUE(unknown);
    EXPECT_THAT(unknown->arguments, ElementsAre("processDsStatus", "0000000c"));

    const auto status = orvFindInCatalogue(
        kOrvLogInternal, kOrvLogId, "Error getting Message Queue Config from DS - bad status array[-1] = 0x000001");
    ASSERT_TRUE(status);
    EXPECT_THAT(status->arguments, ElementsAre("-1", "0x000001"));
    EXPECT_FALSE(orvFindInCatalogue(kOrvLogInternal, kOrvLogId,
                                    "Error getting Message Queue Config from DS - bad status array[0x1] = 0x000001"));
}

TEST(OrvEventCatalogue, tellsRowsOfOneTextApartByTheirLevel) {
    EXPECT_STREQ(orvFindInCatalogue(15, kOrvLogId, "Unable to open file /x")->row.name, "kOrderUnopened");
    EXPECT_STREQ(orvFindInCatalogue(16, kOrvLogId, "Unable to open file /x")->row.name, "kRestoreOrderUnopened");
}

TEST(OrvEventCatalogue, doesNotKnowWhatIsNoEntryOfTheDaemon) {
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b00000eu, "Message queue is empty"));
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b00000eu, ""));
    EXPECT_FALSE(orvFindInCatalogue(2, 0x8b00000eu,
                                    "Message queue is empty, cancelling attempts to retry sending last message"));
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b000010u, "Will retry sending via SMTP server=a, port="));
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b000010u, "Will retry sending via SMTP server=a, port=25 "));
}

TEST(OrvEventCatalogue, takesAMatchForOneKindOnly) {
    const auto found = orvFindInCatalogue(3, 0x8b000010u, "Will retry sending via SMTP server=a, port=25");
    ASSERT_TRUE(found);

    EXPECT_TRUE(found->is(orv_log::kRetryNow));
    EXPECT_FALSE(found->is(orv_log::kRetryLater)) << "another number";
    EXPECT_FALSE(found->is(orv_log::kRestoreEntryFailed)) << "another level";
    const auto internal =
        orvFindInCatalogue(kOrvLogInternal, kOrvLogId, "OrvCHClient::processDsStatus() unhandled id 0x0000000c");
    ASSERT_TRUE(internal);
    EXPECT_FALSE(internal->is(orv_log::kOrderUnopened)) << "another text";
}

TEST(OrvEventCatalogue, knowsATextThatWasCutBeforeANumber) {
    const std::string server(500, 's');

    const auto found =
        orvFindInCatalogue(3, 0x8b000013u, "Encountered failure communicating with SMTP server=" + server + ", port=");

    ASSERT_TRUE(found);
    EXPECT_THAT(found->arguments, ElementsAre(server));
}

TEST(OrvEventCatalogue, recognisesAnEntryOfAnotherVersionByTheNumberThatOnlyItHas) {
    const auto today = orvRecognise(3, 0x8b000010u, "Will retry sending via SMTP server=a, port=25");
    ASSERT_TRUE(today);
    EXPECT_THAT(today->arguments, ElementsAre("a", "25"));

    const auto former = orvRecognise(3, 0x8b000010u, "Trying a once more");
    ASSERT_TRUE(former);
    EXPECT_STREQ(former->row.name, today->row.name);
    EXPECT_THAT(former->arguments, ElementsAre());
    EXPECT_FALSE(orvRecognise(kOrvLogInternal, kOrvLogId, "one of many"));
    EXPECT_FALSE(orvRecognise(kOrvLogInternal, 0, "no number at all"));
    EXPECT_FALSE(orvRecognise(3, 0x8b00ffffu, "nobody's"));
}

TEST(OrvEventCatalogue, knowsATextThatWasCutAndWhatIsLeftOfIt) {
    const std::string reason(500, 'x');
    const std::string text = "Encountered failure communicating with SMTP server=a, port=25, Reason=[" + reason;

    const auto found = orvFindInCatalogue(3, 0x8b000013u, text);
    ASSERT_TRUE(found);
    EXPECT_THAT(found->arguments, ElementsAre("a", "25", reason));
    EXPECT_EQ(found->argument(2), reason);
    EXPECT_EQ(found->argument(3), "");
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b000013u, text.substr(0, 300)));
    EXPECT_FALSE(orvFindInCatalogue(3, 0x8b000013u, std::string(600, 'x')));
}

}  // namespace
