#include "switchctl/ahead/Rehearsal.h"

#include "switchctl/ahead/RehearsalPlot.h"
#include "switchctl/text/Errors.h"
#include "testing/switchctl/LabSwitch.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Fate = Rehearsal::Event::Fate;

constexpr std::int64_t START = 1795000000;

class RehearsalTest : public testing::Test {
protected:
    RehearsalTest() {
        lab_.addProfile("Operators", "Alarm", "FullText", {"a@example.com"});
        // Something is thrown away soon: how long that takes is looked for in every rehearsal.
        lab_.set("Global.Callhome.DiscardPeriod", "7200");
    }

    Rehearsal rehearse(std::int64_t hours, std::int64_t rate, const std::vector<std::string>& downs) const {
        return Rehearsal::of(RehearsalPlan::parse(hours, rate, downs), lab_.attributes, START);
    }
    static std::vector<std::int64_t> failuresOf(const Rehearsal& rehearsal) {
        std::vector<std::int64_t> seconds;
        for (const Rehearsal::Try& each : rehearsal.tries) {
            if (each.mails == 0) {
                seconds.push_back(each.at);
            }
        }
        return seconds;
    }
    void addSecondServer() {
        lab_.set("Global.Callhome.NF-SMTPAddr1", "3-mail2.example.com");
        lab_.set("Global.Callhome.SMTPPort1", "2525");
        lab_.set("Global.Callhome.SMTPEnable1", "True");
    }

    LabSwitch lab_;
};

TEST_F(RehearsalTest, triesAfterThePausesThatOneServerHas) {
    const Rehearsal rehearsal = rehearse(1, 1, {"1:20m"});

    EXPECT_THAT(failuresOf(rehearsal), ElementsAre(0, 5, 305, 905));
    ASSERT_EQ(rehearsal.events.size(), 1u);
    EXPECT_EQ(rehearsal.events[0].fate, Fate::DELIVERED);
    EXPECT_EQ(rehearsal.events[0].delivered, 2705);
    EXPECT_EQ(rehearsal.longestDelay(), 2705);
}

TEST_F(RehearsalTest, knowsWhichTryHasBroughtAMail) {
    const Rehearsal rehearsal = rehearse(1, 12, {"1:4m"});

    EXPECT_THAT(failuresOf(rehearsal), ElementsAre(0, 5));
    EXPECT_EQ(rehearsal.tries.size(), 2u + 12u);
}

TEST_F(RehearsalTest, changesOverToTheOtherServer) {
    addSecondServer();

    const Rehearsal rehearsal = rehearse(1, 1, {"1:1h"});

    EXPECT_THAT(failuresOf(rehearsal), ElementsAre(0));
    EXPECT_EQ(rehearsal.events[0].delivered, 5);
    EXPECT_EQ(rehearsal.tries.back().server, "192.0.2.2:2525");
}

TEST_F(RehearsalTest, countsWhatTheQuotasThrowAway) {
    lab_.set("Global.Callhome.FilesAllowed", "4");

    const Rehearsal rehearsal = rehearse(2, 6, {"1:2h"});

    EXPECT_EQ(rehearsal.discards.fileLimit, 8u);
    EXPECT_EQ(rehearsal.waiting, 4u);
    EXPECT_EQ(rehearsal.count(Fate::LOST), 8u);
    EXPECT_EQ(rehearsal.events[7].fate, Fate::LOST);
    EXPECT_EQ(rehearsal.events[8].fate, Fate::WAITS);
    EXPECT_EQ(rehearsal.endurance.seconds, 2400);
    EXPECT_EQ(rehearsal.endurance.why, "the quota of messages");
}

TEST_F(RehearsalTest, countsWhatTheDiscardPeriodThrowsAway) {
    lab_.set("Global.Callhome.DiscardPeriod", "1800");

    const Rehearsal rehearsal = rehearse(2, 2, {"1:2h"});

    EXPECT_GT(rehearsal.discards.age, 0u);
    EXPECT_EQ(rehearsal.endurance.why, "the discard period");
    ASSERT_TRUE(rehearsal.endurance.seconds);
    EXPECT_GE(*rehearsal.endurance.seconds, 1800);
}

TEST_F(RehearsalTest, knowsThatNoProfileTakesAnything) {
    lab_.set("Global.CallhomeDB.Profile.0.Level", "None");

    const Rehearsal rehearsal = rehearse(1, 6, {});

    EXPECT_EQ(rehearsal.count(Fate::NOT_FOR_ANYBODY), 6u);
    EXPECT_EQ(rehearsal.mails, 0u);
    EXPECT_EQ(rehearsal.endurance.looked, 0);
}

TEST_F(RehearsalTest, refusesAnOutageOfAServerThatThereIsNot) {
    EXPECT_THROW(rehearse(1, 1, {"2:20m"}), UsageError);
}

TEST_F(RehearsalTest, isDrawnWithEverythingInOneFile) {
    const std::string plot = rehearsalPlot(rehearse(2, 6, {"1:1h"}));

    EXPECT_TRUE(plot.starts_with("<svg xmlns=\"http://www.w3.org/2000/svg\""));
    EXPECT_TRUE(plot.ends_with("</svg>\n"));
    EXPECT_THAT(plot, HasSubstr(">server 1 down</text>"));
    EXPECT_THAT(plot, HasSubstr(">events: 12</text>"));
    EXPECT_THAT(plot, HasSubstr(">delivered: 12</text>"));
    EXPECT_LT(plot.size(), 20000u);
}

TEST(RehearsalPlan, saysWhereATimetableContradictsItself) {
    const struct {
        std::vector<std::string> downs;
        const char* problem;
    } cases[] = {
        {{"3:1h"}, "is no outage"},
        {{"1"}, "is no outage"},
        {{"1:"}, "is no outage"},
        {{"1:0"}, "is no outage"},
        {{"1:3x"}, "is no outage"},
        {{"1:-3h"}, "is no outage"},
        {{"1:1h@x"}, "is no outage"},
        {{"1:25h"}, "server 1 would be down beyond the end"},
        {{"2:1h@23h", "2:2h@22h"}, "server 2 would go down while it is down"},
        {{"1:1h", "1:1h@1h"}, "server 1 would go down while it is down"},
    };
    for (const auto& each : cases) {
        try {
            RehearsalPlan::parse(24, 6, each.downs);
            ADD_FAILURE() << each.downs.front();
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), HasSubstr(each.problem)) << each.downs.front();
        }
    }
    EXPECT_THROW(RehearsalPlan::parse(744, 100000, {}), UsageError);
    EXPECT_EQ(RehearsalPlan::parse(24, 6, {"1:1h", "2:1h", "1:1h@2h"}).outages.size(), 3u);
}

}  // namespace
