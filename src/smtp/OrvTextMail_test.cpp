#include "smtp/OrvMailComposer.h"
#include "testing/smtp/MailFixture.h"

#include <gmock/gmock.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class OrvTextMail : public MailTest {
protected:
    std::string mail(const std::string& format, std::uint32_t maxSize = 1000000) {
        OrvCHEnvelope& envelope = addEnvelope(*message_, "noc", {"a@example.com"}, format, maxSize);
        const TestIdentity identity(identity_);
        std::string text;
        EXPECT_EQ(OrvMailComposer(identity.common()).compose(*message_, envelope, "10.1.2.3", text), 0);
        return text;
    }

    void duplicates(std::int32_t count) {
        message_->DuplicateCount = count;
        message_->DuplicateTime = "Tue Nov 14 23:00:00 UTC 2023";
    }

    OrvIdentity identity_ = fullIdentity();
    std::unique_ptr<OrvCHMesg> message_ = portEvent();
};

constexpr char kTsc1Head[] =
    "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
    "From: switch@example.com\r\n"
    "Bcc:  \r\n"
    "Reply-To: ops@example.com\r\n"
    "Subject: [CallHome-Event: noc] Switch event\r\n"
    "\r\n\r\n";

constexpr char kLastTime[] = "Time:           Tue Nov 14 23:00:00 UTC 2023\r\n";

constexpr char kLocation[] = "\r\n\r\n------------    Switch Location\r\nLab 3, rack 7\r\n";

constexpr char kContact[] =
    "\r\n\r\n------------    Contact Information\r\n"
    "Ann Admin\r\n1 Fabric Way\r\n+1 555 0100\r\nann@example.com\r\n\r\n";

std::string join(std::initializer_list<const char*> parts) {
    std::string text;
    for (const char* part : parts) {
        text += part;
    }
    return text;
}

}  // namespace

TEST_F(OrvTextMail, tellsATsc1ReaderEverythingInFixedLines) {
    EXPECT_EQ(mail("Tsc1"), join({kTsc1Head, "SN:             SN0042\r\nDuplicateCount: 0\r\n", kMailSwitch, kMailTime,
                                  kMailDetails}));
}

TEST_F(OrvTextMail, givesATsc1ReaderTheLastDuplicatesTime) {
    duplicates(1);

    EXPECT_EQ(mail("Tsc1"), join({kTsc1Head, "SN:             SN0042\r\nDuplicateCount: 1\r\n", kMailSwitch, kLastTime,
                                  kMailDetails}));
}

TEST_F(OrvTextMail, keepsEveryTsc1LabelOfAnEmptyValueButTheSerialNumbers) {
    identity_ = OrvIdentity();
    message_ = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);

    EXPECT_EQ(mail("Tsc1"),
              "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
              "Bcc:  \r\n"
              "Subject: [CallHome-Event: noc] Switch event\r\n"
              "\r\n\r\n"
              "DuplicateCount: 0\r\n"
              "SwitchName:     \r\n"
              "SwitchIP:       10.1.2.3\r\n"
              "SwitchWWN:      \r\n"
              "Text:           \r\n"
              "ID:             \r\n"
              "Time:           \r\n"
              "Level:          Info\r\n"
              "Blade:          \r\n"
              "ASIC:           \r\n"
              "Port:           \r\n"
              "vFabric:        \r\n"
              "Application:    \r\n"
              "Component:      \r\n");
}

TEST_F(OrvTextMail, addsLocationAndContactForAFullTextReader) {
    EXPECT_EQ(mail("FullText"), join({kMailHead, "------------    Event Details\r\n", kMailSwitch, kMailTime,
                                      kMailDetails, kLocation, kContact}));
}

TEST_F(OrvTextMail, opensAFullTextMailWithTheDuplicateLine) {
    duplicates(5);

    EXPECT_EQ(mail("FullText"),
              join({kMailHead, "------------    Message is a duplicate: last of 5 repeated messages...\r\n",
                    "------------    Event Details\r\n", kMailSwitch, kLastTime, kMailDetails, kLocation, kContact}));
}

TEST_F(OrvTextMail, saysOnlyThatItIsADuplicateForTheFirstOne) {
    duplicates(1);

    EXPECT_EQ(mail("FullText"),
              join({kMailHead, "------------    Message is a duplicate\r\n", "------------    Event Details\r\n",
                    kMailSwitch, kLastTime, kMailDetails, kLocation, kContact}));
}

TEST_F(OrvTextMail, showsTheLargestDuplicateCountWhole) {
    duplicates(2147483647);

    EXPECT_THAT(mail("FullText"),
                HasSubstr("------------    Message is a duplicate: last of 2147483647 repeated messages...\r\n"));
}

TEST_F(OrvTextMail, leavesOutLocationAndContactThatAreUndefined) {
    identity_.Location = "<sysLocation undefined>";
    identity_.ContactName = "<sysContact undefined>";
    identity_.StreetAddress = "<undefined>";
    identity_.PhoneNumber = "<undefined>";
    identity_.ContactEmail = "<undefined>";

    EXPECT_EQ(mail("FullText"),
              join({kMailHead, "------------    Event Details\r\n", kMailSwitch, kMailTime, kMailDetails}));
}

TEST_F(OrvTextMail, leavesOutLocationAndContactThatAreEmpty) {
    identity_.Location.clear();
    identity_.ContactName.clear();
    identity_.StreetAddress.clear();
    identity_.PhoneNumber.clear();
    identity_.ContactEmail.clear();

    EXPECT_EQ(mail("FullText"),
              join({kMailHead, "------------    Event Details\r\n", kMailSwitch, kMailTime, kMailDetails}));
}

TEST_F(OrvTextMail, leavesOutSingleContactLinesThatAreUndefined) {
    identity_.StreetAddress = "<undefined>";
    identity_.ContactEmail = "<undefined>";

    EXPECT_THAT(mail("FullText"),
                EndsWith("\r\n\r\n------------    Contact Information\r\nAnn Admin\r\n+1 555 0100\r\n\r\n"));
}

TEST_F(OrvTextMail, takesAnotherFieldsMarkerAsAValue) {
    identity_.ContactName = "<undefined>";
    identity_.PhoneNumber = "<sysContact undefined>";
    identity_.Location = "<undefined>";

    EXPECT_THAT(mail("FullText"),
                AllOf(HasSubstr("Switch Location\r\n<undefined>\r\n"),
                      HasSubstr("Contact Information\r\n<undefined>\r\n1 Fabric Way\r\n<sysContact undefined>\r\n")));
}

TEST_F(OrvTextMail, tellsAnyOtherReaderTheEventInShort) {
    for (const char* format : {"ShortText", "", "tsc1", "fulltext", "Tsc1 "}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(mail(format), join({kMailHead, kMailSwitch, kMailTime, kMailDetails}));
    }
}

TEST_F(OrvTextMail, opensAShortMailWithTheDuplicateLine) {
    duplicates(2);

    EXPECT_EQ(mail("ShortText"),
              join({kMailHead, "------------    Message is a duplicate: last of 2 repeated messages...\r\n",
                    kMailSwitch, kLastTime, kMailDetails}));
}

TEST_F(OrvTextMail, leavesOutEmptyLinesOfAShortMail) {
    identity_.WWN.clear();
    message_->logEvent()->ASIC.clear();
    message_->logEvent()->VID.clear();
    message_->logEvent()->Components.clear();

    EXPECT_EQ(mail("ShortText"), join({kMailHead,
                                       "SwitchName:     sw-core-1\r\n"
                                       "SwitchIP:       10.1.2.3\r\n"
                                       "Text:           Port 5 went down\r\n"
                                       "ID:             0123.4567\r\n",
                                       kMailTime,
                                       "Level:          Critical\r\n"
                                       "Blade:          Blade: 1\r\n"
                                       "Port:           5\r\n"
                                       "Application:    Eport\r\n"}));
}

TEST_F(OrvTextMail, treatsANegativeDuplicateCountAsNone) {
    duplicates(-3);

    EXPECT_EQ(mail("ShortText"), join({kMailHead, kMailSwitch, kMailTime, kMailDetails}));
    EXPECT_THAT(mail("Tsc1"), HasSubstr("DuplicateCount: -3\r\n"));
}

TEST_F(OrvTextMail, namesEachLevel) {
    const std::pair<std::int32_t, const char*> rows[] = {{0, "Info"},  {1, "Warn"}, {2, "Critical"}, {3, "Alarm"},
                                                         {4, "Fault"}, {5, "None"}, {9, "None"}};
    for (const auto& [level, name] : rows) {
        message_->logEvent()->Level = level;
        EXPECT_THAT(mail("Tsc1"), HasSubstr("Level:          " + std::string(name) + "\r\n"));
    }
}

TEST_F(OrvTextMail, hasNoReplyToWithoutAnAddressOfItsOwn) {
    for (const char* none : {"<undefined>", ""}) {
        identity_.ReplyTo = none;
        EXPECT_THAT(mail("ShortText"), StartsWith("Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
                                                  "From: switch@example.com\r\n"
                                                  "Bcc:  \r\n"
                                                  "Subject: [CallHome: noc] Switch event\r\n"
                                                  "\r\n\r\nSwitchName:"));
    }
}

TEST_F(OrvTextMail, namesNoRecipient) {
    EXPECT_THAT(mail("Tsc1"), Not(HasSubstr("a@example.com")));
}

TEST_F(OrvTextMail, isCutAtALineAndFilledWithBlanksAtEveryLimit) {
    const std::string whole = mail("FullText");
    for (std::uint32_t limit = 0; limit <= whole.size(); ++limit) {
        const std::string cut = mail("FullText", limit);
        const std::size_t kept = cut.find_last_not_of(' ') + 1;
        ASSERT_EQ(cut.size(), limit) << "at the limit, no less and no more";
        ASSERT_EQ(whole.substr(0, kept), cut.substr(0, kept));
        ASSERT_TRUE(kept == 0 || cut.substr(0, kept).ends_with("\r\n")) << "limit " << limit;
    }
    EXPECT_EQ(mail("FullText", static_cast<std::uint32_t>(whole.size() + 1)), whole);
}

TEST_F(OrvTextMail, isNothingButBlanksWhenNotEvenTheDateFits) {
    EXPECT_EQ(mail("Tsc1", 20), std::string(20, ' '));
}

TEST_F(OrvTextMail, tracesEachLineThatItAdds) {
    identity_ = OrvIdentity();
    message_ = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);
    message_->Text = "100%s";
    takeTraces();

    mail("ShortText");

    EXPECT_THAT(takeTraces(),
                testing::IsSupersetOf({"addLabelData: Adding to buffer: Date: Tue, 14  Nov  2023  22:13:20  +0000 CRLF",
                                       "addLabelData: Adding to buffer: Bcc:   CRLF",
                                       "addLabelData: Adding to buffer: Text:           100%s CRLF"}));
}
