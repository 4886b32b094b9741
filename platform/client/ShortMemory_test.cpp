// The client library while memory is short: nothing half done stays behind, nothing is lost without a word.
#include "MessageCodes.h"
#include "testing/FailingCalls.h"
#include "testing/platform/ClientTest.h"

#include "Cns.h"
#include "Hsb_Timer.h"
#include "Log_Event.h"
#include "app_log.h"
#include "dsClient.h"
#include "platform/posix/Clock.h"
#include "platform/wire/DsWire.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>

namespace {

char told[8192];  // the last line that went to syslog

class ShortMemory : public ClientTest {
protected:
    // Runs it with the first allocation failing, the second and so on, until none fails.
    template <typename Action>
    static void withEveryFailure(Action&& action) {
        bool struck = true;
        for (unsigned first = 1; struck; ++first) {
            struck = action(first);
        }
    }
};

class Ticker final : public Hsb_Timer {
public:
    int handle_timeout() override {
        ++ticks;
        return 0;
    }
    int ticks = 0;
};

}  // namespace

extern "C" __attribute__((format(printf, 2, 3))) void __wrap_syslog(int /*priority*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(told, sizeof told, format, arguments);
    va_end(arguments);
}

TEST_F(ShortMemory, leavesASlotTakenOrEmpty) {
    join();
    withEveryFailure([this](unsigned first) {
        bool struck = false;
        int result = 0;
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, 1);
            result = slot_.insert(&component_);
            struck = failing.failed();
        }
        component_.messages.clear();
        if (result == 0) {
            sendToComponent(ServiceAddress::NAMES, 1, 2);
            EXPECT_EQ(component_.messages.size(), 1u);
            slot_.remove();
        } else {
            EXPECT_EQ(slot_.address(), Hsb_Address{});
        }
        return struck;
    });
}

// Whoever asked for it waits for it, perhaps for ever.
TEST_F(ShortMemory, readsAnAnswerOfTheStoreAsSoonAsThereIsMemory) {
    DsBulkAnswer answer;
    answer.id = 5;
    answer.attributes = {{"Global.Callhome.FromAddr", 1, 0, "a sender of more letters than a string holds by itself"}};
    Hsb_Message message(MessageFormat::DS, DsCode::BULK_REPLY, encodeFields(answer));
    for (const unsigned burst : {1u, 5u, 50u}) {
        withEveryFailure([&](unsigned first) {
            dsClient store;
            DsBulkReply reply;
            const FailingMemory failing(MemoryFaults::kAll, first - 1, burst);
            EXPECT_EQ(store.bulkAttr(message, reply), 0) << "burst of " << burst << " from " << first;
            EXPECT_EQ(reply.entries.size(), 1u);
            return failing.failed();
        });
    }
}

// Nobody asks a second time.
TEST_F(ShortMemory, triesARequestsPayloadAgainAndSendsItOnceOrNotAtAll) {
    joinAndInsert();
    for (const unsigned burst : {1u, 5u, 50u}) {
        withEveryFailure([&](unsigned first) {
            const std::size_t before = names_.messages.size();
            bool struck = false;
            int sent = -1;
            {
                const FailingMemory failing(MemoryFaults::kAll, first - 1, burst);
                sent = Cns_Registration(&component_, 1, 0).add();
                struck = failing.failed();
            }
            deliver();
            EXPECT_TRUE(sent == 0 || first > 1) << "the first allocation is the payload's";
            EXPECT_EQ(names_.messages.size(), before + (sent == 0 ? 1 : 0)) << burst << " from " << first;
            return struck;
        });
    }
}

TEST_F(ShortMemory, neverKeepsAComponentOnTheBusThatIsGone) {
    join();
    withEveryFailure([this](unsigned first) {
        auto component = std::make_unique<TestComponent>();
        auto slot = std::make_unique<Hsb_Slot>();
        EXPECT_EQ(slot->insert(component.get()), 0);
        EXPECT_EQ(Cns_Registration(component.get(), 1, 0).add(), 0);
        const Hsb_Address address = slot->address();
        bool struck = false;
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, 1);
            slot.reset();
            struck = failing.failed();
        }
        component.reset();
        Hsb_Message late(1, 2);
        late.source(ServiceAddress::NAMES);
        late.destination(address);
        EXPECT_EQ(switch_.send(late), 0);
        deliver();
        return struck;
    });
}

TEST_F(ShortMemory, losesNoLineOfTheEventLog) {
    joinAndInsert();
    Log_Event log;
    Log_Event* const former = std::exchange(Log_Event::instance_m, &log);
    log.open();
    withEveryFailure([this](unsigned first) {
        told[0] = '\0';
        eventLog_.messages.clear();
        bool struck = false;
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, 1);
            app_log(15, 1, -1, -1, -1, -1, 4096, &component_, "a line that is rather long: %d", 7);
            struck = failing.failed();
        }
        deliver();
        if (eventLog_.messages.empty()) {
            EXPECT_STREQ(told, "a line that is rather long: 7");
        }
        return struck;
    });
    Log_Event::instance_m = former;
}

TEST_F(ShortMemory, doesNotEndATimerThatIsSetAnew) {
    ManualClock clock(0);
    useHostClock(&clock);
    Ticker ticker;
    ticker.set(Timeval(1, 0), true);
    ASSERT_EQ(ticker.start(), 0);
    withEveryFailure([&](unsigned first) {
        bool struck = false;
        {
            const FailingMemory failing(MemoryFaults::kAll, first - 1, 1);
            try {
                [[maybe_unused]] const int result = ticker.start();
            } catch (const std::bad_alloc&) {
            }
            struck = failing.failed();
        }
        const int before = ticker.ticks;
        clock.advance(1000);
        const Timeval atOnce(0, 0);
        EXPECT_GE(Dispatcher::instance()->handle_events(&atOnce), 0);
        EXPECT_EQ(ticker.ticks, before + 1);
        return struck;
    });
    ticker.cancel();
    useHostClock(nullptr);
}
