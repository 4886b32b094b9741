// What the send client makes of its servers' configuration, and when it counts as read.
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using OrvCHClientConfig = ClientTest;

TEST_F(OrvCHClientConfig, isReadWhenItHasBeenAnswered) {
    EXPECT_EQ(client_.readConfig(), 0);
    EXPECT_THAT(recording_.takeTraces(), ElementsAre("OrvCHClient readConfig: Entry\n"));
    EXPECT_THAT(completed_, IsEmpty());

    EXPECT_EQ(configure({{"Global.Callhome.SMTPPort2", 2, "odd"}}), -1);
    EXPECT_THAT(completed_, ElementsAre(2u));
}

TEST_F(OrvCHClientConfig, countsAsReadWhenItCannotBeAskedFor) {
    recording_.refuseRequest(1);

    EXPECT_EQ(client_.readConfig(), -1);

    EXPECT_EQ(takeLog().back(), logLine(orv_log::kClientConfigUnread));
    EXPECT_THAT(recording_.takeTraces(), Contains("OrvCHClient readConfig: Error reading DS bulk data entries\n"));
    EXPECT_THAT(completed_, ElementsAre(2u));
}

TEST_F(OrvCHClientConfig, publishesBeforeItReportsThatItHasBeenRead) {
    class Watcher final : public OrvConfigListener {
    public:
        explicit Watcher(RecordingSwitch& recording) : recording_(recording) {}
        void configComplete(unsigned /*bit*/) override { seen = recording_.takeSent().size(); }
        std::size_t seen = 0;

    private:
        RecordingSwitch& recording_;
    };
    Watcher watcher(recording_);
    OrvCHClient client(recording_.store(), queue_, identity_, watcher);
    const auto entries = serverEntries("1-0A000001", 25, "", 0);

    EXPECT_EQ(client.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0)), 0);

    EXPECT_EQ(watcher.seen, 3u);
}

TEST_F(OrvCHClientConfig, checksForServersWithTheSameAddress) {
    configure(serverEntries("1-10.0.0.1", 25, "1-0A000001", 2525));
    EXPECT_TRUE(client_.checkServers());
    EXPECT_EQ(client_.step(), 1u);

    configure(serverEntries("1-10.0.0.1", 25, "1-10.0.0.2", 25));
    EXPECT_FALSE(client_.checkServers());

    configure(serverEntries("1-10.0.0.1", 25, "", 0));
    EXPECT_FALSE(client_.checkServers());
    EXPECT_EQ(client_.step(), 2u);

    configure(serverEntries("", 0, "", 0));
    EXPECT_FALSE(client_.checkServers());
    EXPECT_EQ(client_.step(), 0u);
}
