#include "switchctl/text/Rules.h"

#include "testing/switchctl/Refusal.h"

#include <gtest/gtest.h>

namespace {

using Rule = void (*)(const std::string&);

struct RuleCase {
    Rule rule;
    std::string text;
    std::string refusal;  // Empty: taken.
};

const std::string LONG_32(32, 'n');
const std::string LONG_33(33, 'n');
const std::string LONG_64(64, 's');
const std::string LONG_65(65, 's');

void oneLevel(const std::string& name) {
    Rules::level(name);
}

void oneFormat(const std::string& name) {
    Rules::format(name);
}

void oneEmail(const std::string& address) {
    Rules::emails({address});
}

const RuleCase RULES[] = {
    {Rules::profileName, "Operators", ""},
    {Rules::profileName, "Night shift", ""},
    {Rules::profileName, LONG_32, ""},
    {Rules::profileName, LONG_33,
     "the profile name \"" + LONG_33 + "\" cannot be used: it has 33 bytes; write at most 32"},
    {Rules::profileName, "", "the profile name \"\" cannot be used: it is empty; write it like Operators"},
    {Rules::profileName, "a\nb",
     "the profile name \"a\\nb\" cannot be used: it holds a control character; write it on one line, without tabs"},
    {Rules::profileName, " a",
     "the profile name \" a\" cannot be used: it begins or ends with a blank; write it like Operators"},
    {Rules::profileName, "a ",
     "the profile name \"a \" cannot be used: it begins or ends with a blank; write it like Operators"},
    {Rules::profileName, "</->",
     "the profile name \"</->\" cannot be used: it ends a value in the queue's files; write anything else"},
    {oneLevel, "Info", ""},
    {oneLevel, "Warn", ""},
    {oneLevel, "Critical", ""},
    {oneLevel, "Alarm", ""},
    {oneLevel, "Fault", ""},
    {oneLevel, "None", ""},
    {oneLevel, "alarm", ""},
    {oneLevel, "Alrm",
     "the level \"Alrm\" cannot be used: there is none of this name; write Info, Warn, Critical, Alarm, Fault or "
     "None; did you mean Alarm?"},
    {oneLevel, "Severe",
     "the level \"Severe\" cannot be used: there is none of this name; write Info, Warn, Critical, Alarm, Fault or "
     "None"},
    {oneLevel, "",
     "the level \"\" cannot be used: there is none of this name; write Info, Warn, Critical, Alarm, Fault or None"},
    {oneFormat, "FullText", ""},
    {oneFormat, "Tsc1", ""},
    {oneFormat, "Short", ""},
    {oneFormat, LONG_32, ""},
    {oneFormat, LONG_33, "the format \"" + LONG_33 + "\" cannot be used: it has 33 bytes; write at most 32"},
    {oneFormat, "",
     "the format \"\" cannot be used: it is empty; write FullText, Tsc1, or any other word for the short form"},
    {Rules::subject, "", ""},
    {Rules::subject, LONG_64, ""},
    {Rules::subject, LONG_65, "the subject \"" + LONG_65 + "\" cannot be used: it has 65 bytes; write at most 64"},
    {Rules::subject, "a\r\nBcc: x",
     "the subject \"a\\x0d\\nBcc: x\" cannot be used: it holds a control character; write it on one line, without "
     "tabs"},
    {oneEmail, "operator@example.com", ""},
    {oneEmail, "root", ""},
    {oneEmail, "first.last+tag@mail.example.com", ""},
    {oneEmail, "ops@[192.0.2.1]", ""},
    {oneEmail, "\"a@b\"@example.com", ""},
    {oneEmail, "@example.com",
     "the address \"@example.com\" cannot be used: nothing stands before the @; write it like operator@example.com"},
    {oneEmail, "ops@",
     "the address \"ops@\" cannot be used: nothing stands behind the @; write it like "
     "operator@example.com"},
    {oneEmail, "ops@@example.com",
     "the address \"ops@@example.com\" cannot be used: it has more than one @; write it like operator@example.com"},
    {oneEmail, "ops@example..com",
     "the address \"ops@example..com\" cannot be used: a dot stands where it cannot stand; write it like "
     "operator@example.com"},
    {oneEmail, ".ops@example.com",
     "the address \".ops@example.com\" cannot be used: a dot stands where it cannot stand; write it like "
     "operator@example.com"},
    {oneEmail, "ops@example.com.",
     "the address \"ops@example.com.\" cannot be used: a dot stands where it cannot stand; write it like "
     "operator@example.com"},
    {oneEmail, "ops@ex(am)ple",
     "the address \"ops@ex(am)ple\" cannot be used: what stands behind the @ is no host; write it like "
     "operator@example.com"},
    {oneEmail, "\xc3\xb6ps@example.com",
     "the address \"\xc3\xb6ps@example.com\" cannot be used: it holds letters that SMTP does not carry; write it like "
     "operator@example.com"},
    {oneEmail, "", "the address \"\" cannot be used: it is empty; write it like operator@example.com"},
    {oneEmail, "!ops@x",
     "the address \"!ops@x\" cannot be used: it begins with a mark that the queue keeps there, ! # $ or %; write it "
     "like operator@example.com"},
    {oneEmail, "#ops@x",
     "the address \"#ops@x\" cannot be used: it begins with a mark that the queue keeps there, ! # $ or %; write it "
     "like operator@example.com"},
    {oneEmail, "$ops@x",
     "the address \"$ops@x\" cannot be used: it begins with a mark that the queue keeps there, ! # $ or %; write it "
     "like operator@example.com"},
    {oneEmail, "%ops@x",
     "the address \"%ops@x\" cannot be used: it begins with a mark that the queue keeps there, ! # $ or %; write it "
     "like operator@example.com"},
    {oneEmail, "a b@x",
     "the address \"a b@x\" cannot be used: blanks, brackets, commas and semicolons are not taken; write it like "
     "operator@example.com"},
    {oneEmail, "<a@x>",
     "the address \"<a@x>\" cannot be used: blanks, brackets, commas and semicolons are not taken; write it like "
     "operator@example.com"},
    {oneEmail, "a@x,b@x",
     "the address \"a@x,b@x\" cannot be used: blanks, brackets, commas and semicolons are not taken; write it like "
     "operator@example.com"},
    {oneEmail, "a\tb@x",
     "the address \"a\\tb@x\" cannot be used: it holds a control character; write it on one line, without tabs"},
};

TEST(Rules, takeWhatTheDaemonUnderstandsAndNameTheRuleOtherwise) {
    for (const RuleCase& one : RULES) {
        EXPECT_EQ(refusal([&] { one.rule(one.text); }), one.refusal) << '"' << one.text << '"';
    }
}

TEST(Rules, takeLevelsAndFormatsInAnyCaseAndGiveThemAsTheDaemonWritesThem) {
    EXPECT_EQ(Rules::level("aLARM"), "Alarm");
    EXPECT_EQ(Rules::format("fulltext"), "FullText");
    EXPECT_EQ(Rules::format("TSC1"), "Tsc1");
    EXPECT_EQ(Rules::format("Short"), "Short");
}

TEST(Rules, takeTenAddressesAndNotEleven) {
    EXPECT_EQ(refusal([] { Rules::emails(std::vector<std::string>(10, "a@x")); }), "");
    EXPECT_EQ(refusal([] { Rules::emails(std::vector<std::string>(11, "a@x")); }),
              "11 addresses are too many; write at most 10, the others in another profile");
}

TEST(Rules, nameTheOptionOfAnIdentityText) {
    EXPECT_EQ(refusal([] { Rules::sender("--from", "sw01@example.com"); }), "");
    EXPECT_EQ(refusal([] { Rules::sender("--from", ""); }),
              "--from \"\" cannot be used: it is empty; write it like operator@example.com");
    EXPECT_EQ(refusal([] { Rules::identity("--location", ""); }), "");
    EXPECT_EQ(refusal([] { Rules::identity("--location", "Rack\n7"); }),
              "--location \"Rack\\n7\" cannot be used: it holds a line break, and a mail has one line for it; write it "
              "on one line");
    EXPECT_EQ(refusal([] { Rules::identity("--contact", "."); }),
              "--contact \".\" cannot be used: a line of a single dot ends a mail on its way; write anything else");
    EXPECT_EQ(refusal([] { Rules::identity("--contact", ".."); }), "");
    EXPECT_EQ(refusal([] { Rules::identity("--location", "a\tb"); }),
              "--location \"a\\tb\" cannot be used: it holds a control character; write it on one line, without tabs");
    EXPECT_NE(refusal([] { Rules::identity("--location", std::string(1001, 'x')); }), "");
}

}  // namespace
