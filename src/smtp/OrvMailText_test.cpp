#include "smtp/OrvMailText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

std::string lines(std::string text) {
    orvMakeLines(text);
    return text;
}

std::string headerLine(const char* name, const std::string& value) {
    std::string text;
    orvAddHeader(text, name, value);
    return text;
}

std::string dotted(std::string text) {
    orvDoubleDots(text);
    return text;
}

}  // namespace

TEST(OrvMailText, endsEveryLineWithCrLfWhateverEndedIt) {
    EXPECT_EQ(lines("a\r\nb\nc\rd"), "a\r\nb\r\nc\r\nd\r\n");
    EXPECT_EQ(lines("a\n\n\r\r\n"), "a\r\n\r\n\r\n\r\n");
    EXPECT_EQ(lines("\n"), "\r\n");
    EXPECT_EQ(lines("a\r\r\nb"), "a\r\n\r\nb\r\n");
    EXPECT_EQ(lines("a\r\nb\r\n"), "a\r\nb\r\n");
    EXPECT_EQ(lines(""), "");
}

TEST(OrvMailText, leavesZeroBytesOut) {
    EXPECT_EQ(lines(std::string("a\0b\r\n", 5)), "ab\r\n");
}

TEST(OrvMailText, breaksALineOfMoreThan998BytesAtABlankOrWhereItMust) {
    const std::string longest(998, 'x');
    EXPECT_EQ(lines(longest + "\r\n"), longest + "\r\n");
    EXPECT_EQ(lines(longest + "y\r\n"), longest + "\r\ny\r\n");
    EXPECT_EQ(lines("begin " + longest), "begin\r\n" + longest + "\r\n");
    EXPECT_EQ(lines(longest + " end"), longest + "\r\nend\r\n");
    EXPECT_EQ(lines(std::string(2000, 'x')), longest + "\r\n" + longest + "\r\nxxxx\r\n");
}

TEST(OrvMailText, breaksNoCharacterOfUtf8) {
    for (std::size_t before = 990; before < 998; ++before) {
        const std::string text = lines(std::string(before, 'x') + "\u20AC\u20AC\u20AC\u20AC");
        const std::size_t end = text.find("\r\n");
        EXPECT_LE(end, 998u);
        EXPECT_EQ((end - before) % 3, 0u) << before;
        EXPECT_EQ(orvCharsetOf(text.substr(0, end)), end == before ? OrvCharset::kAscii : OrvCharset::kUtf8);
    }
    EXPECT_EQ(lines(std::string(1000, '\x80')), std::string(998, '\x80') + "\r\n\x80\x80\r\n");
}

TEST(OrvMailText, doublesTheDotThatBeginsALineAndNoOther) {
    EXPECT_EQ(dotted(".\r\na.b\r\n.\r\n..c\r\n"), "..\r\na.b\r\n..\r\n...c\r\n");
    EXPECT_EQ(dotted("a\r\n"), "a\r\n");
    EXPECT_EQ(dotted(""), "");
}

TEST(OrvMailText, tellsCharactersApart) {
    EXPECT_EQ(orvCharsetOf("plain"), OrvCharset::kAscii);
    EXPECT_EQ(orvCharsetOf("gr\u00FC\u00DFe \u20AC \U0001F600"), OrvCharset::kUtf8);
    for (const char* none : {"gr\xFC\xDF", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xE0\x80\x80", "\xF0\x80\x80\x80",
                             "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xE2\x82", "\xC3(", "\xE2\x82("}) {
        EXPECT_EQ(orvCharsetOf(none), OrvCharset::kLatin1) << none;
    }
}

TEST(OrvMailText, quotesWhatIsNotPrintable) {
    EXPECT_EQ(orvQuotedPrintable("a=b\r\n\u00FC \r\n\tc\t\r\n\x01\r\n"), "a=3Db\r\n=C3=BC=20\r\n\tc=09\r\n=01\r\n");
}

TEST(OrvMailText, quotesInLinesOfAtMost76Characters) {
    std::string_view rest;
    const std::string encoded = orvQuotedPrintable(std::string(300, 'x') + std::string(300, '\xC3') + "\r\n");
    std::string joined;
    for (rest = encoded; !rest.empty();) {
        const std::size_t end = rest.find("\r\n");
        EXPECT_LE(end, 76u);
        joined += rest.substr(0, rest[end - 1] == '=' ? end - 1 : end);
        rest.remove_prefix(end + 2);
    }
    std::string whole(300, 'x');
    for (int i = 0; i < 300; ++i) {
        whole += "=C3";
    }
    EXPECT_EQ(joined, whole);
}

TEST(OrvMailText, keepsAHeaderValueWithinItsHeader) {
    EXPECT_EQ(headerLine("Subject: ", "a\r\nBcc: x\r.\n"), "Subject: a??Bcc: x?.?\r\n");
    EXPECT_EQ(orvOneLine(std::string("a\0b\x7F\t", 5)), "a?b??");
}

TEST(OrvMailText, foldsALongHeaderAtABlankOrWhereItMust) {
    const std::string word(899, 'x');
    EXPECT_EQ(headerLine("Subject: ", word + " second"), "Subject: " + word + "\r\n second\r\n");
    EXPECT_EQ(headerLine("Subject: ", word + "yyy"), "Subject: " + word + "y\r\n yy\r\n");
}

TEST(OrvMailText, encodesHeadersOfOtherCharacters) {
    EXPECT_EQ(headerLine("Subject: ", "gr\u00FC\u00DF_ a=b?"), "Subject: =?utf-8?Q?gr=C3=BC=C3=9F=5F_a=3Db=3F?=\r\n");
    EXPECT_EQ(headerLine("Subject: ", "gr\xFC"), "Subject: =?iso-8859-1?Q?gr=FC?=\r\n");
}

TEST(OrvMailText, encodesALongHeaderInWordsOfWholeCharacters) {
    std::string value;
    for (int i = 0; i < 40; ++i) {
        value += "\u20AC";
    }
    std::string header = headerLine("Subject: ", value);
    std::size_t characters = 0;
    for (std::size_t at = header.find("=?"); at != std::string::npos; at = header.find("=?", at + 1)) {
        const std::size_t end = header.find("?=", at + 10);
        ASSERT_NE(end, std::string::npos);
        EXPECT_LE(end + 2 - at, 75u);
        const std::size_t length = end - (at + 10);
        EXPECT_EQ(length % 9, 0u);
        characters += length / 9;
        at = end;
    }
    EXPECT_EQ(characters, 40u);
}
