#include "box/search/Attachments.h"

#include <gtest/gtest.h>

namespace box {
namespace {

// A report of three bytes, stored by the compressor.
constexpr char kWhole[] = "H4sIAAAAAAAAAwEDAPz/YWJjwkEkNQMAAAA=";

std::string mailWith(const std::string& base64) {
    return "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"b-1\"\r\n\r\n--b-1\r\nContent-Type: "
           "TEXT/plain\r\n\r\ntext\r\n--b-1\r\nContent-Transfer-Encoding: BASE64\r\n\r\n" +
           base64 + "\r\n--b-1--\r\n";
}

}  // namespace

TEST(Attachments, areWholeAsTheyWereMade) {
    EXPECT_TRUE(hasAttachments(mailWith(kWhole)));
    EXPECT_EQ(attachmentsProblem(mailWith(kWhole)), "");
    const std::string mail = mailWith(kWhole);
    EXPECT_EQ(attachmentsProblem(mail.substr(0, mail.size() - 2)), "") << "the last line end belongs to the dot";
}

TEST(Attachments, areNoneInAPlainMail) {
    EXPECT_FALSE(hasAttachments("Subject: s\r\n\r\nText"));
    EXPECT_EQ(attachmentsProblem("Subject: s\r\n\r\nText"), "");
}

TEST(Attachments, areMissedWhereOneIsCutOrMixed) {
    const std::string whole = kWhole;
    for (const std::string& damaged : {whole.substr(0, whole.size() - 4), whole.substr(0, 20) + whole.substr(24),
                                       whole.substr(4), whole + whole, whole.substr(0, 7) + "!" + whole.substr(8)}) {
        EXPECT_EQ(attachmentsProblem(mailWith(damaged)), "an attachment is not whole") << damaged;
    }
}

TEST(Attachments, areMissedWithoutTheClosingBoundary) {
    const std::string mail = mailWith(kWhole);

    EXPECT_EQ(attachmentsProblem(mail.substr(0, mail.size() - 3)), "the boundary that closes the mail is missing");
    EXPECT_EQ(attachmentsProblem(mail.substr(0, mail.size() - 4)), "the boundary that closes the mail is missing");
}

}  // namespace box
