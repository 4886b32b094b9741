#include "smtp/OrvMailComposer.h"

#include "smtp/MailFixture.h"

#include <gtest/gtest.h>

using OrvMailComposerTest = MailTest;

TEST_F(OrvMailComposerTest, failsForAMessageOfAnUnknownKindAndLeavesTheTextAlone) {
    OrvCHMesg message;
    const OrvCHEnvelope& envelope = addEnvelope(message, "noc", {"a@example.com"});
    const TestIdentity identity(fullIdentity());
    std::string text = "before";

    EXPECT_EQ(OrvMailComposer(identity.common()).compose(message, envelope, "10.1.2.3", text), -1);

    EXPECT_EQ(text, "before");
}

TEST_F(OrvMailComposerTest, datesEachMailAnew) {
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"});
    const TestIdentity identity(fullIdentity());
    const OrvMailComposer composer(identity.common());
    std::string text;
    ASSERT_EQ(composer.compose(*message, envelope, "10.1.2.3", text), 0);
    EXPECT_EQ(text.substr(0, 41), "Date: Tue, 14  Nov  2023  22:13:20  +0000");

    clock_.advance(86400000);

    ASSERT_EQ(composer.compose(*message, envelope, "10.1.2.3", text), 0);
    EXPECT_EQ(text.substr(0, 41), "Date: Wed, 15  Nov  2023  22:13:20  +0000");
}

TEST_F(OrvMailComposerTest, letsMessageAndIdentityGo) {
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"});
    TestIdentity identity(fullIdentity());
    std::string text;
    ASSERT_EQ(OrvMailComposer(identity.common()).compose(*message, envelope, "10.1.2.3", text), 0);

    { const Mt::Lock lock(message->lock()); }
    identity.set(OrvIdentity());

    EXPECT_EQ(identity.common().current().From, "");
}
