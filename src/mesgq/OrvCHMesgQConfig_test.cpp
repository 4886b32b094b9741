#include "MessageCodes.h"
#include "platform/wire/DsWire.h"
#include "testing/mesgq/MesgQTest.h"

#include <sstream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Without a queue.
class OrvCHMesgQConfigTest : public MesgQTest {
protected:
    OrvCHMesgQConfigTest() {
        component_.onBulk = [this](const DsBulkReply& reply) {
            EXPECT_EQ(config_.processConfigBulk(reply.entries, reply.statuses), 0);
        };
    }
    struct Answered {
        std::string name;
        std::string value;
        std::int32_t status = 0;
    };
    void answer(const std::vector<Answered>& attributes) {
        std::vector<DsEntry> entries;
        std::vector<std::int32_t> statuses;
        for (const Answered& each : attributes) {
            entries.push_back({each.name, dsClient::TYPE_STRING, each.value});
            statuses.push_back(each.status);
        }
        EXPECT_EQ(config_.processConfigBulk(entries, statuses), 0);
    }
    // "throttle period space files discard", -1 where there is no limit.
    std::string settings() const {
        const OrvCHQuotas& quotas = config_.quotas();
        std::ostringstream text;
        text << std::boolalpha << quotas.throttleDuplicates << ' ';
        for (const std::uint32_t number :
             {quotas.throttleDuplicatesPeriod, quotas.spaceAllowed, quotas.filesAllowed, quotas.discardPeriod}) {
            text << static_cast<std::int32_t>(number) << ' ';
        }
        return text.str();
    }
    static constexpr char kDefaults[] = "true 15 5120000 100 86400 ";

    OrvCHMesgQConfig config_{component_.ds(), controller_};
};

using OrvCHMesgQOpening = MesgQTest;

TEST_F(OrvCHMesgQConfigTest, hasNoLimitsBeforeTheFirstAnswer) {
    EXPECT_EQ(settings(), "true 15 -1 -1 -1 ");
}

TEST_F(OrvCHMesgQConfigTest, asksForTheFiveAttributesInOneRequest) {
    takeLog();
    takeTrace();
    std::vector<std::string> asked;
    switch_.bus().observe([&asked](const Hsb_Message& sent) {
        if (sent.format() == MessageFormat::DS && sent.code() == DsCode::BULK_GET) {
            const auto request = decodeFields<DsBulkGet>(sent.payload());
            ASSERT_TRUE(request);
            EXPECT_EQ(request->id, 11u);
            asked.insert(asked.end(), request->names.begin(), request->names.end());
        }
    });

    EXPECT_EQ(config_.readConfig(), 0);

    EXPECT_THAT(asked, ElementsAre("Global.Callhome.ThrottleDupsEnable", "Global.Callhome.ThrottleDupsPeriod",
                                   "Global.Callhome.DiscardPeriod", "Global.Callhome.FileSystemSpaceAllowed",
                                   "Global.Callhome.FilesAllowed"));
    EXPECT_EQ(takeTrace(), (Texts{"readConfig: Entry\n", "readConfig: request 5 attributes in a bulk request\n"}));
    EXPECT_THAT(controller_.settled, IsEmpty()) << "settled by the answer only";
    switch_.bus().observe(nullptr);
    EXPECT_EQ(takeLog(), (Log{{31, "build request for Global.Callhome.ThrottleDupsEnable"},
                              {31, "build request for Global.Callhome.ThrottleDupsPeriod"},
                              {31, "build request for Global.Callhome.DiscardPeriod"},
                              {31, "build request for Global.Callhome.FileSystemSpaceAllowed"},
                              {31, "build request for Global.Callhome.FilesAllowed"}}));
    EXPECT_THAT(controller_.settled, ElementsAre(4u));
}

TEST_F(OrvCHMesgQConfigTest, settlesAtOnceWhenTheRequestCannotBeSent) {
    takeLog();
    takeTrace();
    switch_.bus().refuse(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_GET));

    EXPECT_EQ(config_.readConfig(), -1);

    EXPECT_THAT(controller_.settled, ElementsAre(4u));
    EXPECT_EQ(takeLog().back(), (std::pair<int, std::string>{15, "Error requesting Message Queue Config from DS"}));
    EXPECT_EQ(takeTrace(), (Texts{"readConfig: Entry\n", "readConfig: request 5 attributes in a bulk request\n",
                                  "readConfig: Error requesting DS bulk data entries\n"}));
    EXPECT_EQ(settings(), "true 15 -1 -1 -1 ") << "the constructor's values stay";
}

TEST_F(OrvCHMesgQOpening, neverOpensWithoutAnAnswer) {
    switch_.bus().refuse(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_GET), 1);
    EXPECT_EQ(queue_->readConfig(), -1);
    queue_->setMonitorReady();
    chores(5);
    EXPECT_FALSE(queue_->openForBusiness());

    configure();
    chores();
    EXPECT_TRUE(queue_->openForBusiness());
}

TEST_F(OrvCHMesgQOpening, flushesTheDuplicateQueueWithEveryRequestThatWasSent) {
    open();
    park("one");
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    switch_.bus().refuse(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_GET), 1);
    EXPECT_EQ(queue_->readConfig(), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});

    EXPECT_EQ(queue_->readConfig(), 0);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQConfigTest, takesAllFiveValues) {
    takeTrace();
    answer({{"Global.Callhome.ThrottleDupsEnable", "False"},
            {"Global.Callhome.ThrottleDupsPeriod", "60", 1},
            {"Global.Callhome.DiscardPeriod", "3600"},
            {"Global.Callhome.FileSystemSpaceAllowed", "100000"},
            {"Global.Callhome.FilesAllowed", "7"}});

    EXPECT_EQ(takeTrace(),
              (Texts{"processConfigBulk: num = 5\n",
                     "processConfigBulk: name = Global.Callhome.ThrottleDupsEnable, type = 1, value = False, "
                     "status = 0x00000000\n",
                     "processConfigBulk: name = Global.Callhome.ThrottleDupsPeriod, type = 1, value = 60, "
                     "status = 0x00000001\n",
                     "processConfigBulk: name = Global.Callhome.DiscardPeriod, type = 1, value = 3600, "
                     "status = 0x00000000\n",
                     "processConfigBulk: name = Global.Callhome.FileSystemSpaceAllowed, type = 1, value = 100000, "
                     "status = 0x00000000\n",
                     "processConfigBulk: name = Global.Callhome.FilesAllowed, type = 1, value = 7, "
                     "status = 0x00000000\n"}));
    EXPECT_EQ(settings(), "false 60 100000 7 3600 ");
    EXPECT_THAT(controller_.settled, ElementsAre(4u));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(OrvCHMesgQConfigTest, throttlesOnlyForExactlyTrue) {
    for (const char* value : {"true", "TRUE", "True ", "1", ""}) {
        answer({{"ThrottleDupsEnable", value}});
        EXPECT_EQ(settings(), "false 15 5120000 100 86400 ") << value;
    }
    answer({{"ThrottleDupsEnable", "True"}});
    EXPECT_EQ(settings(), kDefaults);
}

TEST_F(OrvCHMesgQConfigTest, everyAnswerStartsFromTheDefaults) {
    answer({{"ThrottleDupsEnable", "False"}, {"DiscardPeriod", "5"}, {"FilesAllowed", "6"}});
    answer({});
    EXPECT_EQ(settings(), kDefaults);
}

TEST_F(OrvCHMesgQConfigTest, reportsEveryBadStatusAndKeepsTheDefault) {
    takeLog();
    takeTrace();
    answer({{"X.ThrottleDupsEnable", "False", -1},
            {"X.ThrottleDupsPeriod", "60", -2},
            {"X.DiscardPeriod", "1", -2147483647 - 1},
            {"X.FileSystemSpaceAllowed", "2", -1},
            {"X.FilesAllowed", "3", -1}});

    EXPECT_EQ(takeTrace(), (Texts{"processConfigBulk: num = 5\n",
                                  "processConfigBulk: error obtaining ThrottleDupsEnable, using 'true'\n",
                                  "processConfigBulk: error obtaining ThrottleDupsPeriod, using 15 seconds\n",
                                  "processConfigBulk: error obtaining DiscardPeriod, using 86400 seconds\n",
                                  "processConfigBulk: error obtaining FileSystemSpaceAllowed, using 5120000 bytes\n",
                                  "processConfigBulk: error obtaining FilesAllowed, using 100 files\n"}));
    EXPECT_EQ(takeLog(), (Log{{15, "Error getting Message Queue Config from DS - bad status array[0]"},
                              {15, "Error getting Message Queue Config from DS - bad status array[1]"},
                              {15, "Error getting Message Queue Config from DS - bad status array[2]"},
                              {15, "Error getting Message Queue Config from DS - bad status array[3]"},
                              {15, "Error getting Message Queue Config from DS - bad status array[4]"}}));
    EXPECT_EQ(settings(), kDefaults);
}

TEST_F(OrvCHMesgQConfigTest, aBadStatusDoesNotSpoilLaterValues) {
    answer({{"ThrottleDupsPeriod", "60", -1}, {"DiscardPeriod", "5"}});
    EXPECT_EQ(settings(), "true 15 5120000 100 5 ");
}

TEST_F(OrvCHMesgQConfigTest, keepsDefaultsAfterTheFirstBadValue) {
    answer({{"ThrottleDupsPeriod", "60"},
            {"DiscardPeriod", "4294967296"},
            {"FileSystemSpaceAllowed", "1000"},
            {"FilesAllowed", "7"},
            {"ThrottleDupsEnable", "False"}});
    EXPECT_EQ(settings(), "false 60 5120000 100 86400 ");
    answer({{"DiscardPeriod", "5"}});
    EXPECT_EQ(settings(), "true 15 5120000 100 5 ") << "the next answer starts afresh";
}

TEST_F(OrvCHMesgQConfigTest, aBadValueWithABadStatusSpoilsLaterValuesToo) {
    answer({{"ThrottleDupsPeriod", "99999999999", -1}, {"DiscardPeriod", "5"}});
    EXPECT_EQ(settings(), kDefaults);
}

TEST_F(OrvCHMesgQConfigTest, textsThatAreNoNumbersAreZero) {
    answer({{"DiscardPeriod", "abc"}, {"FilesAllowed", ""}, {"ThrottleDupsPeriod", "12x"}});
    EXPECT_EQ(settings(), "true 12 5120000 0 0 ");
}

TEST_F(OrvCHMesgQConfigTest, theLargestNumberIsNoLimit) {
    answer({{"FileSystemSpaceAllowed", "4294967295"}});
    EXPECT_EQ(settings(), "true 15 -1 100 86400 ");
}

TEST_F(OrvCHMesgQConfigTest, reportsAnUnknownAttributeByItsValue) {
    takeLog();
    answer({{"Global.Callhome.Other", "the value"}, {"DiscardPeriod", "5"}});
    EXPECT_EQ(takeLog(),
              (Log{{15, "Unexpected attribute 'the value' received from DS in OrvCHMesgQ::processConfigBulk()"}}));
    EXPECT_EQ(settings(), "true 15 5120000 100 5 ");
}

TEST_F(OrvCHMesgQConfigTest, anUnknownAttributeWithABadStatusIsReportedTwice) {
    takeLog();
    answer({{"Global.Callhome.Other", "", -5}});
    EXPECT_EQ(takeLog(), (Log{{15, "Error getting Message Queue Config from DS - bad status array[0]"},
                              {15, "Unexpected attribute '' received from DS in OrvCHMesgQ::processConfigBulk()"}}));
}

TEST_F(OrvCHMesgQConfigTest, treatsAMissingStatusAsBad) {
    takeLog();
    const std::vector<DsEntry> entries = {{"DiscardPeriod", 1, "5"}, {"FilesAllowed", 1, "6"}};
    const std::vector<std::int32_t> statuses = {0};
    EXPECT_EQ(config_.processConfigBulk(entries, statuses), 0);
    EXPECT_EQ(settings(), "true 15 5120000 100 5 ");
    EXPECT_EQ(takeLog(), (Log{{15, "Error getting Message Queue Config from DS - bad status array[1]"}}));
}

TEST_F(OrvCHMesgQOpening, opensOnlyWithAnswerAndMonitor) {
    queue_->setMonitorReady();
    chores(2);
    EXPECT_FALSE(queue_->openForBusiness());
    restart();
    configure();
    chores(2);
    EXPECT_FALSE(queue_->openForBusiness());
    queue_->setMonitorReady();
    EXPECT_FALSE(queue_->openForBusiness()) << "not before the chores";
    chores();
    EXPECT_TRUE(queue_->openForBusiness());
}

}  // namespace
