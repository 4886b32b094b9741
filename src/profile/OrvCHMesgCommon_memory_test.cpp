// What becomes of a read of the identity when memory runs out in it: nobody waits for it any longer.
#include "profile/OrvCHMesgCommon.h"
#include "testing/FailingCalls.h"
#include "testing/profile/IdentityNeighbours.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <new>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr char kFormerSender[] = "somebody@somewhere.example";

class OrvCHMesgCommonMemory : public testing::Test {
protected:
    OrvCHMesgCommonMemory() {
        EXPECT_EQ(answer({{"Global.Callhome.FromAddr", dsClient::TYPE_STRING, kFormerSender}}), 0);
    }

    int answer(const std::vector<DsEntry>& entries) {
        return common_.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0));
    }

    // Runs the step again and again; each time another allocation fails, until none is left to fail. One failure costs
    // nothing; a row that outlasts every try is told by an exception.
    void failEachAllocationOf(const std::function<void()>& step, const std::function<void(bool)>& check) {
        failEachAllocationOf(step, check, 1);
        failEachAllocationOf(step, check, kOutlastsEveryTry);
    }

    void failEachAllocationOf(const std::function<void()>& step, const std::function<void(bool)>& check, unsigned row) {
        unsigned failures = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            bool thrown = false;
            neighbours_.calls.clear();
            {
                const FailingMemory noMemory(MemoryFaults::kThrowing, after, row);
                try {
                    step();
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = noMemory.failed();
            }
            failures += thrown ? 1 : 0;
            SCOPED_TRACE(after);
            check(thrown);
        }
        EXPECT_EQ(failures > 0, row > 1);
    }

    static constexpr int kOutlastsEveryTry = 100;

    // What a reader sees; it must not have to wait.
    std::string senderReadByAnotherThread() {
        std::future<std::string> seen =
            std::async(std::launch::async, [&] { return std::string(OrvCHMesgCommon::Reader(common_)->From); });
        if (seen.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            common_.abandonRead();
            seen.wait();
            return "the reader had to wait";
        }
        return seen.get();
    }

    RecordingSwitch switch_;
    IdentityNeighbours neighbours_;
    OrvCHMesgCommon common_{switch_.store(), neighbours_, neighbours_};
};

TEST_F(OrvCHMesgCommonMemory, letsReadersGoOnWhicheverAllocationFailsInARequestThatCannotBeSent) {
    failEachAllocationOf(
        [this] {
            switch_.refuseRequest(1);
            EXPECT_EQ(common_.readConfig(), -1);
        },
        [this](bool /*thrown*/) {
            EXPECT_THAT(neighbours_.calls, ElementsAre("complete 3"));
            EXPECT_EQ(senderReadByAnotherThread(), kFormerSender);
        });
}

TEST_F(OrvCHMesgCommonMemory, reportsItsEndOnceWhicheverAllocationFailsInAnAnswer) {
    const std::vector<DsEntry> entries{
        {"Global.Callhome.FromAddr", dsClient::TYPE_STRING, "somebody.else@somewhere.example"},
        {"Global.Callhome.Colour", dsClient::TYPE_STRING, "a value that nobody knows"},
        {"Global.Snmp.Location", dsClient::TYPE_STRING, "a rack in a room of its own"}};
    const std::vector<std::int32_t> statuses{0, 0, 0x12};
    const std::vector<DsEntry> former{{"Global.Callhome.FromAddr", dsClient::TYPE_STRING, kFormerSender}};

    failEachAllocationOf([&] { EXPECT_EQ(common_.processConfigBulk(entries, statuses), -1); },
                         [&](bool thrown) {
                             EXPECT_THAT(neighbours_.calls, ElementsAre("complete 3"));
                             EXPECT_EQ(senderReadByAnotherThread(),
                                       thrown ? kFormerSender : "somebody.else@somewhere.example");
                             EXPECT_EQ(answer(former), 0);
                         });
}

}  // namespace
