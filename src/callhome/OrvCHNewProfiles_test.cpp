// Two profiles read one after the other, without a controller.
#include "callhome/OrvCHNewProfiles.h"

#include "MessageCodes.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class OrvCHNewProfilesTest : public testing::Test {
protected:
    // The first answer of a profile without e-mail addresses and captures.
    int answer(const std::string& name) {
        DsBulkReply reply;
        reply.id = DsRequestId::PROFILE_INITIAL;
        reply.entries = {{"Global.CallhomeDB.ProfileList.0", dsClient::TYPE_STRING, name}};
        reply.statuses = {0};
        return profiles_.process(reply);
    }

    RecordingSwitch switch_;
    OrvCHNewProfiles profiles_{switch_.store()};
};

TEST_F(OrvCHNewProfilesTest, areReadInTheirOrderAndGivenAway) {
    ASSERT_EQ(profiles_.make(2), 0);
    EXPECT_EQ(profiles_.readCurrent(), 0);
    EXPECT_EQ(answer("first"), 0);
    profiles_.goOn();
    ASSERT_NE(profiles_.current(), nullptr);
    EXPECT_EQ(profiles_.readCurrent(), 0);
    EXPECT_EQ(answer("second"), 0);
    profiles_.goOn();
    EXPECT_EQ(profiles_.current(), nullptr);

    const auto taken = profiles_.take();

    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0]->name(), "first");
    EXPECT_EQ(taken[1]->name(), "second");
    EXPECT_TRUE(profiles_.empty());
}

TEST_F(OrvCHNewProfilesTest, takeNoAnswerBeforeOneIsReadOrAfterAllAreForgotten) {
    EXPECT_EQ(answer("too early"), -1);
    ASSERT_EQ(profiles_.make(1), 0);
    ASSERT_EQ(profiles_.readCurrent(), 0);
    profiles_.forget();
    switch_.takeSent();

    EXPECT_EQ(answer("too late"), -1);

    EXPECT_EQ(profiles_.current(), nullptr);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(HasSubstr("log ")));
}

TEST_F(OrvCHNewProfilesTest, replaceThoseOfACycleThatDidNotEnd) {
    ASSERT_EQ(profiles_.make(2), 0);
    ASSERT_EQ(profiles_.readCurrent(), 0);
    profiles_.goOn();

    ASSERT_EQ(profiles_.make(1), 0);

    ASSERT_NE(profiles_.current(), nullptr);
    EXPECT_EQ(profiles_.current()->index(), 0u);
    EXPECT_EQ(answer("before its read"), -1);
}

}  // namespace
