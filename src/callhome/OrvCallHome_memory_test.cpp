// The configuration read cycle when memory is short for a moment, whenever that is: no cycle stays open for it.
#include "testing/FailingCalls.h"
#include "testing/callhome/ControllerFixture.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <set>

namespace {

using testing::Contains;

class OrvCallHomeFaults : public ControllerFixture {
protected:
    // Two profiles, the first with a capture.
    void startWithCapture() {
        const std::string key = "Global.CallhomeDB.Profile.0.";
        startReady();
        addProfile({.name = "a name that is not kept in place"});
        for (const auto& [word, value] :
             {std::pair("CaptureEnable", "True"), std::pair("CaptureEntries", "1"), std::pair("Capture.0.Type", "Cron"),
              std::pair("Capture.0.DayOfWeek", "Fri"), std::pair("Capture.0.TimeOfDay", "17:05"),
              std::pair("Capture.0.Interval", "2")}) {
            switch_->set(key + word, value);
        }
        changeProfiles();
        ASSERT_EQ(stateValue("Config"), "0");
    }
    // The configuration monitor asks for a read, during which one allocation fails; false when there were fewer.
    bool readWithFailure(unsigned after) {
        asked_.clear();
        acknowledged_ = 0;
        switch_->forgetEventLog();
        switch_->bus().observe([this](const Hsb_Message& message) {
            if (message.format() == MessageFormat::DS &&
                (message.code() == DsCode::GET || message.code() == DsCode::BULK_GET)) {
                asked_.insert(message.payload()[3]);
            }
            acknowledged_ += message.format() == MessageFormat::CMON && message.code() == CmonCode::CONF_READ_ACK;
        });
        Hsb_Message message(MessageFormat::CMON, CmonCode::READ_CONF, {});
        bool failed = false;
        {
            const FailingMemory memory(MemoryFaults::kThrowing, after, 1);
            app_->handle_message(&message);
            failed = memory.failed();
        }
        const std::set<int> asked = asked_;  // before any answer
        switch_->pump();
        switch_->bus().observe(nullptr);
        asked_ = asked;
        return failed;
    }

    std::set<int> asked_;
    unsigned acknowledged_ = 0;
};

// The failure may cost one part its request, which then counts as failed; never more.
TEST_F(OrvCallHomeFaults, asksForEveryPartWhicheverAllocationFails) {
    startReady();
    const std::set<int> everything{0, 1, 6, 7, 8, 9, 11};
    std::set<int> missed;
    for (unsigned after = 0; readWithFailure(after); ++after) {
        SCOPED_TRACE(after);
        EXPECT_GE(asked_.size(), everything.size() - 1);
        std::set_difference(everything.begin(), everything.end(), asked_.begin(), asked_.end(),
                            std::inserter(missed, missed.end()));
        ASSERT_EQ(stateValue("Config"), "0");
        EXPECT_EQ(stateValue("ConfigRequestsPending"), "0");
    }
    EXPECT_EQ(asked_, everything);
    EXPECT_FALSE(missed.empty());  // where a payload is all that needs memory, none fails
}

TEST_F(OrvCallHomeFaults, acknowledgesTheReadWhicheverAllocationFails) {
    startReady();
    unsigned unsent = 0;
    for (unsigned after = 0; readWithFailure(after); ++after) {
        SCOPED_TRACE(after);
        if (acknowledged_ == 0) {  // the failure was the acknowledgement's own
            ++unsent;
            EXPECT_THAT(switch_->eventLog(), Contains(LogLine{16, 0, "Error from conf_read_ack()"}));
        } else {
            EXPECT_EQ(acknowledged_, 1u);
        }
    }
    EXPECT_EQ(acknowledged_, 1u);
    EXPECT_LE(unsent, 5u);
}

TEST_F(OrvCallHomeFaults, endsTheCycleWhicheverAllocationFailsInACountOrMarkerStatus) {
    startWithCapture();
    DsAttrReply numberOfProfiles;
    numberOfProfiles.id = 9;
    numberOfProfiles.entry = {"Global.CallhomeDB.NumberOfProfiles", dsClient::TYPE_STRING, "2"};
    DsStatusReply markerStatus;
    markerStatus.id = 10;
    // The count, and the marker of each profile: the answer that the test gives instead of the switch.
    for (const int which : {0, 1, 2}) {
        bool failed = true;
        int failures = -1;
        for (unsigned after = 0; failed; ++after, ++failures) {
            SCOPED_TRACE(std::to_string(which) + "/" + std::to_string(after));
            int seen = 0;
            const auto match = which == 0 ? answers(DsCode::ATTRIBUTE_REPLY, 9) : answers(DsCode::STATUS_REPLY, 10);
            switch_->bus().drop(
                [&](const Hsb_Message& message) { return match(message) && ++seen == std::max(which, 1); });
            changeProfiles();
            ASSERT_EQ(stateValue("Config"), "0x20");
            {
                const FailingMemory memory(MemoryFaults::kThrowing, after, 1);
                try {
                    static_cast<void>(which == 0 ? app_->callHome().processConfig(numberOfProfiles)
                                                 : app_->callHome().processDsStatus(markerStatus));
                } catch (const std::bad_alloc&) {
                    // The loop's edge reports it.
                }
                failed = memory.failed();
            }
            switch_->bus().clearFaults();
            switch_->pump();

            ASSERT_EQ(stateValue("Config"), "0");
            EXPECT_EQ(stateValue("ReadyForMessage"), "1");
        }
        EXPECT_GT(failures, 0) << which;
    }
}

}  // namespace
