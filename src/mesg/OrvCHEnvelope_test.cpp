#include "mesg/OrvCHEnvelope.h"

#include <gtest/gtest.h>

static OrvCHEnvelope envelopeTo(const std::string& recipient) {
    OrvCHEnvelope envelope;
    envelope.Recipients = {"first@example.com", recipient, "last@example.com"};
    envelope.RecipientCursor = 1;
    return envelope;
}

struct MarkCase {
    const char* recipient;
    char mark;
    const char* address;
};

TEST(OrvCHEnvelope, takesOneOfFourFirstCharactersForAMark) {
    const MarkCase cases[] = {
        {"ann@example.com", 0, "ann@example.com"},
        {"!ann@example.com", '!', "ann@example.com"},
        {"#ann@example.com", '#', "ann@example.com"},
        {"$ann@example.com", '$', "ann@example.com"},
        {"%ann@example.com", '%', "ann@example.com"},
        {"&ann@example.com", 0, "&ann@example.com"},
        {"\"ann@example.com", 0, "\"ann@example.com"},
        {"#$ann@example.com", '#', "$ann@example.com"},
        {"!", '!', ""},
        {"", 0, ""},
    };
    for (const MarkCase& c : cases) {
        const OrvCHEnvelope envelope = envelopeTo(c.recipient);
        EXPECT_EQ(envelope.recipientMark(), c.mark) << c.recipient;
        EXPECT_EQ(envelope.recipientAddress(), c.address) << c.recipient;
    }
}

struct SetMarkCase {
    const char* before;
    char mark;
    const char* after;
};

TEST(OrvCHEnvelope, insertsReplacesAndRemovesTheMarkUnderTheCursor) {
    const SetMarkCase cases[] = {
        {"ann@x", '!', "!ann@x"},  {"$ann@x", '#', "#ann@x"}, {"$ann@x", 0, "ann@x"}, {"ann@x", 0, "ann@x"},
        {"!ann@x", '!', "!ann@x"}, {"%ann@x", '$', "$ann@x"}, {"", '#', "#"},         {"!", 0, ""},
    };
    for (const SetMarkCase& c : cases) {
        OrvCHEnvelope envelope = envelopeTo(c.before);
        envelope.setRecipientMark(c.mark);
        EXPECT_EQ(envelope.Recipients, (std::vector<std::string>{"first@example.com", c.after, "last@example.com"}));
    }
}

TEST(OrvCHEnvelope, hasNeitherMarkNorAddressBehindTheLastRecipient) {
    OrvCHEnvelope envelope = envelopeTo("!ann@example.com");
    envelope.RecipientCursor = 3;

    envelope.setRecipientMark('#');

    EXPECT_EQ(envelope.recipientMark(), OrvCHEnvelope::kNoMark);
    EXPECT_EQ(envelope.recipientAddress(), "");
    EXPECT_EQ(envelope.Recipients,
              (std::vector<std::string>{"first@example.com", "!ann@example.com", "last@example.com"}));
}

TEST(OrvCHEnvelope, resettingCountsWhoWasNotDeliveredAndRemovesEveryMark) {
    OrvCHEnvelope envelope;
    envelope.Done = true;
    envelope.Recipients = {"!a@x", "#b@x", "$c@x", "%d@x", "e@x", "!f@x"};

    EXPECT_EQ(envelope.resetRecipients(), 4u);

    EXPECT_FALSE(envelope.Done);
    EXPECT_EQ(envelope.Recipients, (std::vector<std::string>{"a@x", "b@x", "c@x", "d@x", "e@x", "f@x"}));
}

TEST(OrvCHEnvelope, estimatesItsFramePlusItsTexts) {
    OrvCHEnvelope envelope;
    EXPECT_EQ(envelope.bytesToSave(), 124);

    envelope.MaxSize = 4000000000u;
    envelope.Type = "Tsc1";
    envelope.ProfileName = "Night";
    envelope.Subject = "Switch";
    envelope.Recipients = {"a@x", "!bob@x"};
    EXPECT_EQ(envelope.bytesToSave(), 124 + 4 + 5 + 6 + (3 + 1) + (6 + 1));
}
