// Joining the bus, readiness, the handshake with the configuration monitor, and the end.
#include "MessageCodes.h"
#include "testing/app/DaemonFixture.h"

#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "platform/wire/CnsWire.h"

#include <cstring>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class OrvAppStart : public DaemonFixture {
protected:
    // Format and code of everything the daemon sends.
    void recordSends() {
        switch_->bus().observe([this](const Hsb_Message& message) {
            if (app_ == nullptr || message.source().node != 0) {
                sent_.push_back({message.format(), message.code()});
            }
        });
    }

    std::vector<std::pair<int, int>> sent_;
};

TEST_F(OrvAppStart, namesItselfWithSixCharactersAndNoTerminator) {
    startDaemon();
    char buffer[8];
    std::memset(buffer, '-', sizeof buffer);

    EXPECT_EQ(app_->component_name(buffer, sizeof buffer), 6);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "OrvApp--");
    EXPECT_EQ(app_->component_name(buffer, 6), 6);
}

TEST_F(OrvAppStart, copiesNoNameIntoABufferThatIsTooShort) {
    startDaemon();
    char buffer[8];
    std::memset(buffer, '-', sizeof buffer);

    EXPECT_EQ(app_->component_name(buffer, 5), -1);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "--------");
}

TEST_F(OrvAppStart, hooksReturnZeroAndOne) {
    startDaemon();

    EXPECT_EQ(app_->checkpoint_size(), 0);
    EXPECT_EQ(app_->bus_frees_messages(), 1);
}

TEST_F(OrvAppStart, registersThenLooksUpTheEventServerThenConnectsTheStoreThenLooksUpManagement) {
    recordSends();
    logger_ = std::make_unique<OrvDbg>("orv.out.Main");
    ASSERT_EQ(OrvDbg::setOfThread(logger_.get()), 0);
    app_ = std::make_unique<OrvApp>();  // nothing is delivered yet

    EXPECT_THAT(sent_, ElementsAre(std::pair(2, CnsCode::REGISTER), std::pair(2, CnsCode::LOOKUP),
                                   std::pair(103, DsCode::CONNECT), std::pair(2, CnsCode::LOOKUP)));
    EXPECT_TRUE(traced("OrvApp OrvApp: Application startup!").size() == 1);
}

TEST_F(OrvAppStart, readsTheConfigurationAndStartsBothThreads) {
    startDaemon();

    const Components::Component* component = switch_->components().named("OrvApp");
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(component->state, ComponentState::STARTED);
    EXPECT_TRUE(app_->requiredAddressesInitialized());
    EXPECT_TRUE(switch_->runUntil(
        [&] { return !switch_->trace("orv.out.SMTPClient").empty() && !switch_->trace("orv.out.Capture").empty(); }));
    EXPECT_THAT(traced("OrvCallHome startThreads: Entry"), SizeIs(1));
}

TEST_F(OrvAppStart, triesToStartTheFileSynchronisationAtTheStartAndWhenEventsAreReady) {
    startDaemon();

    EXPECT_THAT(traced("OrvApp tryStartFileSync: Entry"), SizeIs(2));
    EXPECT_EQ(app_->tryStartFileSync(), -1);
}

TEST_F(OrvAppStart, aLookupThatCannotBeSentKeepsTheConfigurationFromEverBeingRead) {
    for (const unsigned lookup : {0u, 1u}) {
        SCOPED_TRACE(lookup);
        unsigned seen = 0;
        switch_->bus().refuse([&seen, lookup](const Hsb_Message& message) {
            return message.format() == 2 && message.code() == CnsCode::LOOKUP && seen++ == lookup;
        });
        startDaemon();
        switch_->tick(120);

        EXPECT_FALSE(app_->requiredAddressesInitialized());
        const std::vector<std::string> lines = mainTrace();
        const auto quote = std::find(lines.begin(), lines.end(), "\"---- requiredAddressesInitialized() FAILED");
        ASSERT_NE(quote, lines.end());
        EXPECT_THAT(*(quote - 1), HasSubstr("OrvApp DSApiReady: "));
        EXPECT_EQ(*(quote + 1), "");
        EXPECT_THAT(traced("OrvCallHome readConfig"), IsEmpty());
        const Components::Component* component = switch_->components().named("OrvApp");
        ASSERT_NE(component, nullptr);
        EXPECT_EQ(component->state, ComponentState::REGISTERED);
        switch_->bus().clearFaults();
        killDaemon();
    }
}

TEST_F(OrvAppStart, alarmsWhenTheMonitorCannotBeTold) {
    switch_->bus().refuse(LoopbackBus::messages(105, CmonCode::READY_FOR_CONF));
    testing::internal::CaptureStderr();
    startDaemon();

    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("orvApp: no configuration is read: nothing is mailed until the daemon is started again\n"));

    EXPECT_THAT(traced("OrvApp DSApiReady: error from ready_for_conf"), SizeIs(1));
    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{16, 0, "Error returned from ready_for_conf()"}));
}

TEST_F(OrvAppStart, alarmsWhenTheReadConfigurationCannotBeAcknowledged) {
    switch_->bus().refuse(LoopbackBus::messages(105, CmonCode::CONF_READ_ACK));
    testing::internal::CaptureStderr();
    startDaemon();

    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("orvApp: the threads are not started: nothing is mailed"));

    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{16, 0, "Error from conf_read_ack()"}));
}

TEST_F(OrvAppStart, subscribesToFourEventsInOrderAndThenQueuesThePowerUpMessage) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> subscribed;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::ENS && message.code() == EnsCode::SUBSCRIBE) {
            const auto word = [&](std::size_t at) {
                const auto bytes = message.payload().subspan(at, 4);
                return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
                       bytes[3];
            };
            subscribed.push_back({word(0), word(4)});
        }
    });
    startDaemon();

    EXPECT_THAT(subscribed, ElementsAre(std::pair(1u, 0u), std::pair(66u, 3u), std::pair(2u, 56u), std::pair(90u, 0u)));
    EXPECT_THAT(traced("OrvCHMesg buildSwitchPowerUpData: Entry"), SizeIs(1));
}

TEST_F(OrvAppStart, startsTheTickThenSubscribesThenQueuesThePowerUpMessage) {
    unsigned subscriptions = 0;
    std::size_t ticksBefore = 0;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() != MessageFormat::ENS || message.code() != EnsCode::SUBSCRIBE) {
            return;
        }
        EXPECT_THAT(traced("OrvCHMesg buildSwitchPowerUpData: Entry"), IsEmpty());
        if (++subscriptions == 1) {
            // Due with the first tick; of the timers that are due together, the one that was started first runs first.
            Dispatcher::instance()->schedule_timer(Timeval(1, 0), false,
                                                   [&] { ticksBefore = traced("OrvCHMesgQ init: Entry").size(); });
        }
    });
    startDaemon();
    EXPECT_EQ(subscriptions, 4u);
    EXPECT_THAT(traced("OrvCHMesg buildSwitchPowerUpData: Entry"), SizeIs(1));
    switch_->bus().observe(nullptr);
    switch_->tick();

    EXPECT_EQ(ticksBefore, 1u);
}

TEST_F(OrvAppStart, aSubscriptionThatCannotBeSentRaisesAnAlarmAndTheRestGoesOn) {
    switch_->bus().refuse(LoopbackBus::messages(MessageFormat::ENS, EnsCode::SUBSCRIBE));
    testing::internal::CaptureStderr();
    startDaemon();
    const std::string told = testing::internal::GetCapturedStderr();

    for (const char* const what : {"entries of the switch's log", "changes of the switch's state",
                                   "changes of the switch's addresses", "changes of the switch's host name"}) {
        EXPECT_THAT(
            told, HasSubstr(std::string("orvApp: ") + what + " are not heard of until the daemon is started again\n"));
    }
    std::vector<std::string> alarms;
    for (const LogLine& line : switch_->eventLog()) {
        if (line.level == 16 && line.id == 0) {
            alarms.push_back(line.text);
        }
    }
    EXPECT_THAT(alarms, ElementsAre("OrvApp: Error subscribing for consumer event category 1 event 0",
                                    "OrvApp: Error subscribing for consumer event category 66 event 3",
                                    "OrvApp: Error subscribing for consumer event category 2 event 56",
                                    "OrvApp: Error subscribing for consumer event category 90 event 0"));
}

TEST_F(OrvAppStart, eachSubscriptionOperationHasItsOwnFailureText) {
    startDaemon();
    switch_->forgetEventLog();
    for (const std::uint16_t code :
         {EnsCode::SUBSCRIBE, EnsCode::UNSUBSCRIBE, EnsCode::PRODUCER_ADD, EnsCode::PRODUCER_REMOVE}) {
        switch_->bus().refuse(LoopbackBus::messages(MessageFormat::ENS, code));
    }

    EXPECT_EQ(app_->subscriptions().subscribeConsumer({7, 8}), -1);
    EXPECT_EQ(app_->subscriptions().unsubscribeConsumer({7, 8}), -1);
    EXPECT_EQ(app_->subscriptions().addProducer({7, 8}), -1);
    EXPECT_EQ(app_->subscriptions().removeProducer({7, 8}), -1);
    switch_->pump();

    EXPECT_THAT(switch_->eventLog(),
                ElementsAre(LogLine{16, 0, "OrvApp: Error subscribing for consumer event category 7 event 8"},
                            LogLine{16, 0, "OrvApp: Error unsubscribing for consumer event category 7 event 8"},
                            LogLine{16, 0, "OrvApp: Error subscribing for producer event category 7 event 8"},
                            LogLine{16, 0, "OrvApp: Error unsubscribing for producer event category 7 event 8"}));
    switch_->bus().clearFaults();
    EXPECT_EQ(app_->subscriptions().addProducer({7, 8}), 0);
    EXPECT_EQ(app_->subscriptions().removeProducer({7, 8}), 0);
}

TEST_F(OrvAppStart, ticksOncePerSecondOnceTheEventServerIsKnown) {
    switch_->bus().hold(LoopbackBus::messages(2, CnsCode::LOOKUP_RESPONSE));
    startDaemon();
    switch_->tick(3);
    EXPECT_THAT(traced("OrvCHMesgQ init: Entry"), IsEmpty());

    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    switch_->tick();
    EXPECT_THAT(traced("OrvCHMesgQ init: Entry"), SizeIs(1));
}

TEST_F(OrvAppStart, anAnswerWithAnUnknownTagChangesNothing) {
    startDaemon();
    const std::size_t before = mainTrace().size();

    std::vector<std::uint8_t> payload(14, 0x55);
    switch_->send(2, CnsCode::LOOKUP_RESPONSE, payload);
    std::vector<std::uint8_t> unsent(14, 0xFF);
    switch_->send(2, CnsCode::LOOKUP_RESPONSE, unsent);
    switch_->send(2, CnsCode::LOOKUP_RESPONSE, {});
    switch_->send(2, 99, payload);

    EXPECT_EQ(mainTrace().size(), before);
}

TEST_F(OrvAppStart, aTagOfMinusOneNeverMatchesALookupThatWasNotSent) {
    switch_->bus().refuse(LoopbackBus::messages(2, CnsCode::LOOKUP));
    startDaemon();
    switch_->bus().clearFaults();

    switch_->send(2, CnsCode::LOOKUP_RESPONSE, std::vector<std::uint8_t>(14, 0xFF));

    EXPECT_THAT(traced("buildSwitchPowerUpData"), IsEmpty());
}

TEST_F(OrvAppStart, leavesTheAddressAndHostnameSubscriptionsInPlaceWhenItEnds) {
    startDaemon();
    std::vector<std::pair<int, int>> unsubscribed;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::ENS && message.code() == EnsCode::UNSUBSCRIBE) {
            unsubscribed.push_back({message.payload()[3], message.payload()[7]});
        }
    });

    app_.reset();

    EXPECT_THAT(unsubscribed, ElementsAre(std::pair(1, 0), std::pair(66, 3)));
    EXPECT_THAT(traced("OrvApp ~OrvApp: Application exiting..."), SizeIs(1));
}

// It is known by its name until nothing is sent to it any more, and says that it goes when it is off the bus.
TEST_F(OrvAppStart, unsubscribesThenLeavesItsSlotThenTracesThatItGoes) {
    startDaemon();
    std::vector<std::string> steps;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::ENS && message.code() == EnsCode::UNSUBSCRIBE) {
            steps.push_back("unsubscribe " + std::to_string(message.payload()[3]));
        } else if (message.format() == MessageFormat::CNS && message.code() == CnsCode::UNREGISTER) {
            steps.push_back("leave");
        }
        EXPECT_THAT(traced("OrvApp ~OrvApp: Application exiting..."), IsEmpty());
    });

    app_.reset();

    EXPECT_THAT(steps, ElementsAre("unsubscribe 1", "unsubscribe 66", "leave"));
    EXPECT_THAT(traced("OrvApp ~OrvApp: Application exiting..."), SizeIs(1));
    const std::size_t ticks = traced("OrvCHMesgQ init: Entry").size();
    switch_->tick(3);
    EXPECT_THAT(traced("OrvCHMesgQ init: Entry"), SizeIs(ticks)) << "no tick of an object that is gone";
}

TEST_F(OrvAppStart, registersAndLooksUpWithTheArgumentsOfItsPlatform) {
    std::vector<CnsRegister> registrations;
    std::vector<CnsLookup> lookups;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::CNS && message.code() == CnsCode::REGISTER) {
            registrations.push_back(decodeFields<CnsRegister>(message.payload()).value());
        } else if (message.format() == MessageFormat::CNS && message.code() == CnsCode::LOOKUP) {
            lookups.push_back(decodeFields<CnsLookup>(message.payload()).value());
        }
    });
    startDaemon();

    ASSERT_THAT(registrations, SizeIs(1));
    EXPECT_EQ(registrations[0].kind, 1);
    EXPECT_EQ(registrations[0].options, 0);
    EXPECT_EQ(registrations[0].name, "OrvApp");
    ASSERT_THAT(lookups, SizeIs(2));
    EXPECT_EQ(lookups[1].kind, 3);
    EXPECT_EQ(lookups[1].name, "SM");
    EXPECT_EQ(lookups[1].instance, "primary");
    EXPECT_EQ(lookups[1].options, 128);
    EXPECT_NE(lookups[0].tag, lookups[1].tag);
}

TEST_F(OrvAppStart, entriesCarryTheNameOrvApp) {
    startDaemon();
    switch_->send(77, 5);

    const std::vector<LogEntry> entries = switch_->logEntries();
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries.back().component, "OrvApp");
    EXPECT_EQ(entries.back().flags, 4096u);
    EXPECT_EQ(entries.back().number, 0x8B000001u);
}

TEST_F(OrvAppStart, readsTheConfigurationAgainEachTimeTheMonitorAsks) {
    startDaemon();
    unsigned acknowledged = 0;
    unsigned statesAsked = 0;
    switch_->bus().observe([&](const Hsb_Message& message) {
        acknowledged += message.format() == MessageFormat::CMON && message.code() == CmonCode::CONF_READ_ACK;
        statesAsked +=
            message.format() == MessageFormat::DS && message.code() == DsCode::GET && message.payload()[3] == 8;
    });
    for (unsigned time = 2; time <= 3; ++time) {
        switch_->send(MessageFormat::CMON, CmonCode::READ_CONF);

        EXPECT_THAT(traced("OrvCallHome readConfig: Entry"), SizeIs(time));
        EXPECT_EQ(acknowledged, time - 1);
        EXPECT_EQ(statesAsked, time - 1);
    }
}

TEST_F(OrvAppStart, countsAReadThatTheMonitorAsksForDuringAnother) {
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    startDaemon();
    unsigned acknowledged = 0;
    switch_->bus().observe([&](const Hsb_Message& message) {
        acknowledged += message.format() == MessageFormat::CMON && message.code() == CmonCode::CONF_READ_ACK;
    });

    switch_->send(MessageFormat::CMON, CmonCode::READ_CONF);

    EXPECT_EQ(acknowledged, 1u);
    EXPECT_THAT(traced("OrvCHMesgQ readConfig: Entry"), SizeIs(1));
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    EXPECT_THAT(traced("OrvCHMesgQ readConfig: Entry"), SizeIs(2));
}

TEST_F(OrvAppStart, startsItsThreadsBeforeTheConfigurationIsReadWhenToldSo) {
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::CMON, CmonCode::READ_CONF));
    startDaemon();
    ASSERT_THAT(traced("OrvCallHome readConfig: Entry"), IsEmpty());

    switch_->send(MessageFormat::CMON, CmonCode::START);

    EXPECT_TRUE(switch_->runUntil(
        [&] { return !switch_->trace("orv.out.SMTPClient").empty() && !switch_->trace("orv.out.Capture").empty(); }));
    EXPECT_THAT(traced("OrvCallHome readConfig: Entry"), IsEmpty());
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    EXPECT_THAT(traced("OrvCallHome readConfig: Entry"), SizeIs(1));
}

TEST_F(OrvAppStart, startsItsThreadsOnce) {
    startDaemon();
    switch_->send(MessageFormat::CMON, CmonCode::START);
    switch_->send(MessageFormat::CMON, CmonCode::START);

    EXPECT_THAT(traced("OrvCallHome startThreads: Entry"), SizeIs(3));
    EXPECT_THAT(traced("OrvApp tryStartFileSync: Entry"), SizeIs(4));
    for (const char* const thread : {"orv.out.SMTPClient", "orv.out.Capture"}) {
        const auto starts = [&] {
            std::size_t lines = 0;
            for (const std::string& line : switch_->trace(thread)) {
                lines += line.ends_with(" OrvThread run: Thread is running");
            }
            return lines;
        };
        ASSERT_TRUE(switch_->runUntil([&] { return starts() > 0; }));
        EXPECT_EQ(starts(), 1u) << thread;
    }
}

}  // namespace
