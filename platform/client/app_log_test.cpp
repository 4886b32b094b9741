#include "app_log.h"

#include "Log_Event.h"
#include "MessageCodes.h"
#include "platform/wire/EventLogWire.h"
#include "testing/platform/ClientTest.h"

#include <syslog.h>

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// syslog also writes to stderr here, where a test can see it.
class AppLogTest : public ClientTest {
protected:
    AppLogTest() {
        Log_Event::instance_m = &log_;
        log_.open();
        openlog("hsb", LOG_PERROR, LOG_USER);
    }
    ~AppLogTest() override {
        openlog("hsb", 0, LOG_USER);
        Log_Event::instance_m = nullptr;
    }

    EventLogEntry onlyEntry(std::uint16_t code) {
        const auto entry =
            decodeFields<EventLogEntry>(onlyMessageOf(eventLog_, MessageFormat::EVENT_LOG, code).payload());
        EXPECT_TRUE(entry);
        return entry.value_or(EventLogEntry{});
    }

    // What goes to syslog while a line is logged.
    template <typename Call>
    std::string syslogOf(Call&& call) {
        testing::internal::CaptureStderr();
        call();
        return testing::internal::GetCapturedStderr();
    }
    std::string syslogOfALine() {
        return syslogOf([this] { app_log(15, 1, -1, -1, -1, -1, 4096, &component_, "line %d", 7); });
    }

    Log_Event log_;
};

}  // namespace

TEST_F(AppLogTest, sendsALineToTheEventLog) {
    joinAndInsert();

    app_log(2, 0x8B000005, 1, 2, 3, 4, 4096, &component_, "Unable to test profile %s: %d%%", "support", 50);

    EXPECT_EQ(onlyEntry(EventLogCode::ENTRY),
              (EventLogEntry{2, 0x8B000005, 1, 2, 3, 4, 4096, "OrvApp", "Unable to test profile support: 50%"}));
}

TEST_F(AppLogTest, sendsAnAlarmToTheEventLog) {
    joinAndInsert();

    switch_alarm(0, 0x10050034, -1, -1, -1, -1, 4096, &component_, "System resource error - %s");

    EXPECT_EQ(onlyEntry(EventLogCode::ALARM),
              (EventLogEntry{0, 0x10050034, -1, -1, -1, -1, 4096, "OrvApp", "System resource error - %s"}));
}

TEST_F(AppLogTest, sendsNothingToSyslogWhenTheEventLogHasIt) {
    joinAndInsert();

    EXPECT_EQ(syslogOfALine(), "");
}

TEST_F(AppLogTest, cutsALineAt4095Characters) {
    joinAndInsert();

    app_log(15, 1, -1, -1, -1, -1, 4096, &component_, "%s", std::string(100000, 'x').c_str());

    EXPECT_EQ(onlyEntry(EventLogCode::ENTRY).text, std::string(4095, 'x'));
}

TEST_F(AppLogTest, namesNoComponentWhenThereIsNone) {
    joinAndInsert();

    app_log(15, 1, -1, -1, -1, -1, 4096, nullptr, "text");

    EXPECT_EQ(onlyEntry(EventLogCode::ENTRY).component, "");
}

TEST_F(AppLogTest, speaksForAComponentThatStandsInNoSlot) {
    joinAndInsert();
    TestComponent other("Other");

    app_log(15, 1, -1, -1, -1, -1, 4096, &other, "text");

    EXPECT_EQ(onlyEntry(EventLogCode::ENTRY).component, "Other");
}

TEST_F(AppLogTest, goesToSyslogBeforeTheBusIsJoined) {
    EXPECT_THAT(syslogOfALine(), HasSubstr("line 7"));
}

TEST_F(AppLogTest, goesToSyslogWhileNoComponentIsOnTheBus) {
    join();

    EXPECT_THAT(syslogOfALine(), HasSubstr("line 7"));
}

TEST_F(AppLogTest, goesToSyslogWhileTheLogIsNotOpen) {
    joinAndInsert();
    EXPECT_TRUE(log_.isOpen());

    log_.close();
    EXPECT_FALSE(log_.isOpen());
    EXPECT_THAT(syslogOfALine(), HasSubstr("line 7"));
    Log_Event::instance_m = nullptr;
    EXPECT_THAT(syslogOfALine(), HasSubstr("line 7"));

    deliver();
    EXPECT_THAT(eventLog_.messages, IsEmpty());
}

TEST_F(AppLogTest, goesToSyslogWhenTheLineCannotBeSent) {
    joinAndInsert();
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::EVENT_LOG));

    EXPECT_THAT(syslogOfALine(), HasSubstr("line 7"));
    EXPECT_THAT(syslogOf([this] { switch_alarm(16, 0, -1, -1, -1, -1, 4096, &component_, "100%s"); }),
                HasSubstr("100%s"));
}

TEST_F(AppLogTest, takesAMissingTextForAnEmptyOne) {
    joinAndInsert();

    switch_alarm(16, 0, -1, -1, -1, -1, 4096, &component_, nullptr);

    EXPECT_EQ(onlyEntry(EventLogCode::ALARM).text, "");
}
