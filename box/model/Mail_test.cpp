#include "box/model/Mail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace model {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Mails : public testing::Test {
protected:
    Mails() {
        message_.time = "Tue Nov 14 22:13:20.123 UTC 2023";
        message_.id = "0001.0002";
        message_.text = "Fan 2 has failed";
        message_.level = 3;
        message_.blade = "Blade: 3";
        identity_.from = "sw@x.example";
        identity_.name = "sw1";
        identity_.wwn = "10:00";
        identity_.serial = "SN1";
    }
    std::string text(const char* format) {
        envelope_.format = format;
        return mailText(message_, envelope_, identity_, "192.168.0.1",
                        {.uptime = 1, .seconds = 1700000000, .microseconds = 0});
    }

    Message message_;
    Envelope envelope_{.maxSize = 2000000, .format = "", .profile = "Ops", .subject = "lab", .recipients = {}};
    Identity identity_;
};

const std::string kHead = "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\nFrom: sw@x.example\r\nBcc:  \r\n";

TEST_F(Mails, haveEveryLabelInTsc1) {
    EXPECT_EQ(text("Tsc1"),
              kHead +
                  "Subject: [CallHome-Event: Ops] lab\r\n\r\n\r\nSN:             SN1\r\nDuplicateCount: 0\r\n"
                  "SwitchName:     sw1\r\nSwitchIP:       192.168.0.1\r\nSwitchWWN:      10:00\r\n"
                  "Text:           Fan 2 has failed\r\nID:             0001.0002\r\n"
                  "Time:           Tue Nov 14 22:13:20.123 UTC 2023\r\nLevel:          Alarm\r\n"
                  "Blade:          Blade: 3\r\nASIC:           \r\nPort:           \r\nvFabric:        \r\n"
                  "Application:    \r\nComponent:      \r\n");
}

TEST_F(Mails, showPlaceAndContactInFullText) {
    identity_.replyTo = "reply@x.example";
    identity_.location = "Rack 3";
    identity_.contactName = "Ann";
    identity_.street = "<undefined>";
    identity_.phone = "12";
    message_.duplicates = 1;
    message_.lastDuplicate = "later";
    EXPECT_EQ(text("FullText"),
              kHead +
                  "Reply-To: reply@x.example\r\nSubject: [CallHome: Ops] lab\r\n\r\n\r\n"
                  "------------    Message is a duplicate\r\n------------    Event Details\r\n"
                  "SwitchName:     sw1\r\nSwitchIP:       192.168.0.1\r\nSwitchWWN:      10:00\r\n"
                  "Text:           Fan 2 has failed\r\nID:             0001.0002\r\nTime:           later\r\n"
                  "Level:          Alarm\r\nBlade:          Blade: 3\r\n"
                  "\r\n\r\n------------    Switch Location\r\nRack 3\r\n"
                  "\r\n\r\n------------    Contact Information\r\nAnn\r\n12\r\n\r\n");
}

TEST_F(Mails, areShortInAnyOtherFormat) {
    message_.duplicates = 3;
    message_.lastDuplicate = "later";
    const std::string mail = text("Short");
    EXPECT_THAT(mail, HasSubstr("\r\n\r\n\r\n------------    Message is a duplicate: last of 3 repeated messages...\r\n"
                                "SwitchName:     sw1\r\n"));
    EXPECT_THAT(mail, EndsWith("Level:          Alarm\r\nBlade:          Blade: 3\r\n"));
}

TEST_F(Mails, areFilledWithBlanksFromTheFirstLineThatDoesNotFit) {
    const std::string whole = text("Short");
    for (std::uint32_t limit = 0; limit <= whole.size() + 1; ++limit) {
        envelope_.maxSize = limit;
        const std::string mail = text("Short");
        EXPECT_LE(mail.size(), limit);
        EXPECT_EQ(mail == whole, limit > whole.size());
        const std::size_t end = mail.find_last_not_of(' ') + 1;
        EXPECT_EQ(mail.substr(0, end), whole.substr(0, end));
        EXPECT_TRUE(mail.size() == limit || mail == whole);
    }
}

}  // namespace
}  // namespace model
