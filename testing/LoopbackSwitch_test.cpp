#include "testing/LoopbackSwitch.h"

#include "Ens.h"
#include "Hsb_Timer.h"
#include "MessageCodes.h"
#include "app_log.h"
#include "host_root.h"
#include "orvClient.h"
#include "platform/wire/ManagementWire.h"
#include "testing/StubComponent.h"
#include "testing/Uncatalogued.h"
#include "uptime.h"

#include <gmock/gmock.h>

#include <thread>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class CountingTimer final : public Hsb_Timer {
public:
    explicit CountingTimer(std::int64_t seconds) { set(Timeval(seconds, 0), true); }
    int handle_timeout() override {
        ++count;
        return 0;
    }
    int count = 0;
};

}  // namespace

TEST(LoopbackSwitch, startsWithTheFactorysAttributesAtItsOwnTime) {
    LoopbackSwitch sw;

    EXPECT_EQ(sw.attribute("Global.Services.CallhomeEnable"), "False");
    EXPECT_EQ(sw.attribute("No.Such.Key"), std::nullopt);
    EXPECT_EQ(calendar_time().tv_sec, 1700000000);
    EXPECT_EQ(calendar_time().tv_usec, 123456);
    EXPECT_THAT(sw.eventLog(), IsEmpty());
}

TEST(LoopbackSwitch, givesItsComponentTheRealServices) {
    LoopbackSwitch sw;
    StubComponent component;
    std::vector<std::string> values;
    component.onAttribute = [&](const DsAttrReply& reply) { values.push_back(reply.entry.value); };
    component.insert();
    sw.pump();
    ASSERT_TRUE(component.dsReady());
    sw.set("Config.Switch.SymName", "edge-7");

    ASSERT_EQ(component.ds().getAttrReq(5, "Config.Switch.SymName", 1), 0);
    sw.pump();

    EXPECT_THAT(values, ElementsAre("edge-7"));
    EXPECT_NE(sw.components().named("OrvApp"), nullptr);
}

TEST(LoopbackSwitch, keepsEventLogLinesFromTheBeginningOrFromTheLastForgetting) {
    LoopbackSwitch sw;
    StubComponent component;
    component.insert();
    sw.pump();
    Uncatalogued::acceptAll();

    app_log(15, 0x8B000001u, -1, -1, -1, -1, 4096, &component, "%d%% done", 50);
    sw.pump();
    EXPECT_THAT(sw.eventLog(), ElementsAre(LogLine{15, 0x8B000001u, "50% done"}));
    sw.forgetEventLog();
    switch_alarm(16, 0, -1, -1, -1, -1, 4096, &component, "100% as it stands");
    sw.pump();

    EXPECT_THAT(sw.eventLog(), ElementsAre(LogLine{16, 0, "100% as it stands"}));
    EXPECT_THAT(sw.eventTexts(16), ElementsAre("100% as it stands"));
    EXPECT_THAT(sw.eventTexts(15), IsEmpty());
    ASSERT_THAT(sw.logEntries(), SizeIs(1));
    EXPECT_EQ(sw.logEntries()[0].component, "OrvApp");
    EXPECT_EQ(sw.logEntries()[0].flags, 4096u);
}

TEST(LoopbackSwitch, movesTimersUptimeAndCalendarOnlyByTicks) {
    LoopbackSwitch sw;
    CountingTimer everyTwoSeconds(2);
    ASSERT_EQ(everyTwoSeconds.start(), 0);
    const std::uint32_t before = uptime();

    sw.pump();
    EXPECT_EQ(everyTwoSeconds.count, 0);
    sw.tick();
    EXPECT_EQ(everyTwoSeconds.count, 0);
    sw.tick(5);

    EXPECT_EQ(everyTwoSeconds.count, 3);
    EXPECT_EQ(uptime() - before, 6u);
    EXPECT_EQ(calendar_time().tv_sec, 1700000006);
}

TEST(LoopbackSwitch, waitsForWhatAnotherThreadDoesWithoutMovingTheClock) {
    LoopbackSwitch sw;
    std::atomic<bool> done{false};
    std::thread worker([&] { done = true; });

    EXPECT_TRUE(sw.runUntil([&] { return done.load(); }));
    worker.join();

    EXPECT_EQ(calendar_time().tv_sec, 1700000000);
    EXPECT_FALSE(sw.runUntil([] { return false; }, std::chrono::milliseconds(1)));
}

TEST(LoopbackSwitch, publishesWhatSubscribersReceiveBeforeItReturns) {
    LoopbackSwitch sw;
    StubComponent component;
    component.insert();
    Ens_Consumer consumer(&component, ServiceAddress::EVENTS);
    for (const auto& [category, event] : {std::pair{1u, 0u}, {66u, 3u}, {2u, 56u}, {90u, 0u}, {89u, 7u}}) {
        ASSERT_NE(consumer.subscribe(category, event), 0);
    }
    sw.pump();
    component.take();

    sw.publishLog(3, 0x12340001u, "a fan has failed");
    sw.publishState("Offline");
    sw.publishAddresses({"10.0.0.7"});
    sw.publishHostname("3-sw1");
    sw.publishEvent(89, 7, {1, 2});

    std::vector<std::uint32_t> categories;
    for (const Hsb_Message& message : component.messages()) {
        categories.push_back(Ens_Event(message).category());
    }
    EXPECT_THAT(categories, ElementsAre(1, 66, 2, 90, 89));
    EXPECT_EQ(sw.attribute("Config.Switch.AdminState"), "Offline");
}

TEST(LoopbackSwitch, sendsAnythingToARegisteredComponentAndThrowsWithoutOne) {
    LoopbackSwitch sw;
    EXPECT_THROW(sw.send(108, 0), std::runtime_error);
    StubComponent component;
    component.insert();
    sw.pump();
    component.take();

    sw.send(108, 5, {1, 2, 3});

    ASSERT_THAT(component.messages(), SizeIs(1));
    EXPECT_EQ(component.messages()[0].format(), 108);
    EXPECT_EQ(component.messages()[0].code(), 5);
    EXPECT_THAT(component.messages()[0].payload(), ElementsAre(1, 2, 3));
    EXPECT_EQ(component.messages()[0].source(), ServiceAddress::OPERATOR);
}

TEST(LoopbackSwitch, keepsManagementRepliesUntilTheyAreTaken) {
    LoopbackSwitch sw;
    StubComponent component;
    component.insert();
    sw.pump();
    component.take();

    const std::uint32_t handle = sw.testProfile("Ops");
    ASSERT_THAT(component.messages(), SizeIs(1));
    const auto request = decodeFields<TestProfileRequest>(component.messages()[0].payload());
    ASSERT_TRUE(request);
    EXPECT_EQ(request->handle, handle);
    EXPECT_EQ(request->name, "Ops");
    orvClient responses;
    responses.setReady(&component, ServiceAddress::MANAGEMENT);
    ASSERT_EQ(responses.CH_TestProfileResults(1, "Ops"), 0);
    ASSERT_EQ(responses.CH_TestProfileResponse(handle, 0, "Ops"), 0);
    sw.pump();

    EXPECT_THAT(sw.takeManagementReplies(),
                ElementsAre(ManagementReply{107, encodeFields(TestProfileResults{1, "Ops"})},
                            ManagementReply{102, encodeFields(TestProfileResponse{handle, 0, "Ops"})}));
    EXPECT_THAT(sw.managementReplies(), IsEmpty());
}

// What a component logs, and whether it is held against the daemon's catalogue and found wanting.
struct LoggedCase {
    const char* name;
    std::uint32_t flags;
    const char* component;
    const char* text;
    bool refused;
};

constexpr LoggedCase LOGGED[] = {
    {"anEntryOfTheCatalogue", 4096, "OrvApp", "Message is too large", false},
    {"aTextThatIsNone", 4096, "OrvApp", "Message is too large to print", true},
    {"withoutTheDaemonsFlags", 0, "OrvApp", "Message is too large to print", false},
    {"ofAnotherComponent", 4096, "other", "Message is too large to print", false},
};

class LoopbackSwitchCatalogue : public testing::TestWithParam<LoggedCase> {};

TEST_P(LoopbackSwitchCatalogue, isWhatTheDaemonsEntriesAreHeldAgainst) {
    LoopbackSwitch sw;
    StubComponent component(GetParam().component);
    component.insert();
    sw.pump();

    app_log(15, 0x8b000001, -1, -1, -1, -1, GetParam().flags, &component, "%s", GetParam().text);

    if (GetParam().refused) {
        EXPECT_THROW(sw.pump(), std::runtime_error);
    } else {
        sw.pump();
    }
}

INSTANTIATE_TEST_SUITE_P(Entries, LoopbackSwitchCatalogue, testing::ValuesIn(LOGGED),
                         [](const auto& test) { return test.param.name; });

TEST(LoopbackSwitch, acceptsAnyEntryWhereATestWritesInTheDaemonsName) {
    LoopbackSwitch sw;
    StubComponent component;
    component.insert();
    Uncatalogued::acceptAll();

    app_log(15, 0x8b000001, -1, -1, -1, -1, 4096, &component, "%s", "a text of the test's own");
    sw.pump();

    EXPECT_THAT(sw.eventLog(), SizeIs(1));
}

TEST(LoopbackSwitch, leavesNothingBehindForTheNextOne) {
    const std::string rootBefore = host_root();
    std::string path;
    {
        LoopbackSwitch sw;
        StubComponent component;
        component.insert();
        sw.set("Left.Over", "x");
        sw.publishLog(2, 1, "left over");
        sw.tick(100);
        path = sw.root().path();
        EXPECT_EQ(host_root(), path);
        EXPECT_TRUE(sw.root().exists("/ostrel/conf"));
        EXPECT_TRUE(sw.root().exists("/tmp"));
        // The component and what is on its way to it go while messages still wait.
        app_log(15, 1, -1, -1, -1, -1, 0, &component, "never delivered");
    }
    EXPECT_EQ(host_root(), rootBefore);
    EXPECT_NE(access(path.c_str(), F_OK), 0);

    LoopbackSwitch next;
    next.pump();

    EXPECT_NE(next.root().path(), path);
    EXPECT_EQ(next.attribute("Left.Over"), std::nullopt);
    EXPECT_THAT(next.eventLog(), IsEmpty());
    EXPECT_EQ(next.components().named("OrvApp"), nullptr);
    EXPECT_EQ(calendar_time().tv_sec, 1700000000);
}

TEST(LoopbackSwitch, survivesTheProcessLeavingAndComingBack) {
    TempRoot root;
    LoopbackSwitch sw(root);
    StubComponent component;
    component.insert();
    sw.pump();

    sw.leaveBus();
    sw.pump();
    EXPECT_EQ(sw.components().named("OrvApp"), nullptr);
    sw.joinBus();
    StubComponent again;
    again.insert();
    sw.pump();

    EXPECT_NE(sw.components().named("OrvApp"), nullptr);
    EXPECT_TRUE(again.dsReady());
}

TEST(LoopbackSwitch, readsTraceLogsLineByLine) {
    LoopbackSwitch sw;
    sw.root().write("/tmp/orv.out.Main", "first\nsecond\n");

    EXPECT_THAT(sw.trace("orv.out.Main"), ElementsAre("first", "second"));
    EXPECT_THAT(sw.trace("orv.out.Other"), IsEmpty());
}
