// What becomes of two mails when a server goes wrong once, at each stage of a dialogue and in each way: for both
// dialogues, one server and two, named by IPv4, IPv6 and name. The tables are what is expected.
#include "testing/smtp/OfflineClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <tuple>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// A reply of a server that is as it should be, by stage.
struct Stage {
    const char* name;
    MailStage stage;
    const char* code;
};
constexpr Stage kStages[] = {
    {"greeting", MailStage::kGreeting, "220"}, {"EHLO", MailStage::kEhlo, "250"},     {"HELO", MailStage::kHelo, "250"},
    {"MAIL", MailStage::kMail, "250"},         {"RCPT", MailStage::kRcpt, "250"},     {"DATA", MailStage::kData, "354"},
    {"text", MailStage::kOther, "250"},        {"end", MailStage::kEndOfData, "250"}, {"RSET", MailStage::kRset, "250"},
    {"QUIT", MailStage::kQuit, "221"},
};

ScriptedReply line(const std::string& text) {
    return ScriptedReply::line(text);
}

ScriptedReply megabyte() {
    std::string text = "250 ";
    text.append(1'000'000, 'x');
    return ScriptedReply::bytes(text);
}

// How a reply goes wrong, given the code that it should have.
struct Fault {
    const char* name;
    ScriptedReply (*reply)(const std::string& code);
};
const Fault kFaults[] = {
    {"put off", [](const std::string&) { return line("451 later"); }},
    {"refused", [](const std::string&) { return line("550 no"); }},
    {"too large", [](const std::string&) { return line("552 too large"); }},
    {"who are you", [](const std::string&) { return line("530 authenticate"); }},
    {"closing", [](const std::string&) { return line("421 closing").thenHangUp(); }},
    {"421 and stays", [](const std::string&) { return line("421 closing"); }},
    {"closes", [](const std::string&) { return ScriptedReply::hangUp(); }},
    {"breaks off", [](const std::string&) { return ScriptedReply().thenReset(); }},
    {"closes inside", [](const std::string& code) { return ScriptedReply::bytes(code.substr(0, 2)).thenHangUp(); }},
    {"silent", [](const std::string&) { return ScriptedReply::silence(); }},
    {"a byte a minute",
     [](const std::string& code) {
         std::vector<std::size_t> offsets;
         for (std::size_t i = 1; i < 40; ++i) {
             offsets.push_back(i);
         }
         return line(code + "-" + std::string(100, 'x')).splitAt(offsets, seconds(60));
     }},
    {"a megabyte", [](const std::string&) { return megabyte(); }},
    {"two pieces", [](const std::string& code) { return line(code + " ok").splitAt({2}); }},
    {"byte by byte", [](const std::string& code) { return line(code + " ok").oneByteAtATime(); }},
    {"two lines", [](const std::string& code) { return line(code + "-one\r\n" + code + " two"); }},
    {"lines in pieces", [](const std::string& code) { return line(code + "-one\r\n" + code + " two").splitAt({9}); }},
    {"two codes", [](const std::string& code) { return line(code + "-one\r\n550 two"); }},
    {"code alone", [](const std::string& code) { return line(code); }},
    {"zero byte", [](const std::string& code) { return line(code + std::string(" o\0k", 4)); }},
    {"no code", [](const std::string&) { return line("hello"); }},
    {"line feed", [](const std::string& code) { return ScriptedReply::bytes(code + " ok\n"); }},
    {"surplus", [](const std::string& code) { return line(code + " ok\r\n" + code + " more"); }},
    {"later surplus",
     [](const std::string& code) { return line(code + " ok\r\n" + code + " more").splitAt({8}, milliseconds(0)); }},
    {"other class", [](const std::string& code) { return line(code == "354" ? "250 ok" : "354 ok"); }},
    {"1yz", [](const std::string&) { return line("150 wait"); }},
};

struct Place {
    const char* name;
    const char* primary;
    const char* secondary;
};
constexpr Place kPlaces[] = {{"OneByIPv4", "1-192.0.2.1", ""},   {"TwoByIPv4", "1-192.0.2.1", "1-192.0.2.2"},
                             {"OneByIPv6", "2-2001:db8::1", ""}, {"TwoByIPv6", "2-2001:db8::1", "2-2001:db8::2"},
                             {"OneByName", "3-mx1.example", ""}, {"TwoByName", "3-mx1.example", "3-mx2.example"}};

// A text that is spoken where none is due comes before the text.
void spoil(PlayedServer& server, const Stage& stage, const Fault& fault) {
    if (stage.stage == MailStage::kOther) {
        ScriptedReply data = line("354 go");
        server.script.once(MailStage::kData, data.followedBy(fault.reply(stage.code)));
        return;
    }
    if (stage.stage == MailStage::kHelo) {
        server.script.set(MailStage::kEhlo, line("502 what"));
    } else if (stage.stage == MailStage::kRset) {
        server.script.onceRecipient("a@x", line("550 no"));
    }
    server.script.once(stage.stage, fault.reply(stage.code));
}

// What becomes of the two mails, and the letter that stands for it.
struct Outcome {
    char letter;
    const char* what;  // of each: when it went, in seconds, its result, how many copies came, and how many broken ones
};
constexpr Outcome kOutcomes[] = {
    {'.', "0s 0 1 / 0s 0 1"},    // both are mailed at once
    {'r', "5s 0 1 / 5s 0 1"},    // both are mailed by the retry
    {'l', "5s 0 1 / 0s 0 1"},    // the first is mailed later, the second at once
    {'x', "0s 1 0 / 0s 0 1"},    // the first is given up, the second mailed at once
    {'X', "5s 1 0 / 5s 0 1"},    // the first is given up, the second mailed by the retry
    {'d', "5s 0 2 / 5s 0 1"},    // the first comes twice
    {'b', "0s 0 0+1 / 0s 0 1"},  // the first comes broken, which nobody is told
    {'-', "0s 0 0 / 0s 0 1"},    // the first is lost, which nobody is told
};

std::string outcomeOf(OfflineClient& client, const OfflineQueue::Entry& entry, const char* recipient) {
    int whole = 0;
    int broken = 0;
    for (const char* address : {"192.0.2.1", "192.0.2.2", "2001:db8::1", "2001:db8::2"}) {
        for (const ScriptedMail& mail : client.system().at(address).mails) {
            const bool its = mail.text.find("Text:           " + entry.message->Text + "\r\n") != std::string::npos;
            const bool reaches = std::count(mail.recipients.begin(), mail.recipients.end(), recipient) != 0;
            const bool ends = mail.text.find("Component:      chassis:1.2.3\r\n") != std::string::npos &&
                              mail.text.find("MAIL FROM") == std::string::npos;
            whole += its && reaches && ends;
            broken += its && !(reaches && ends);
        }
    }
    return (entry.gone == 0 ? "never" : std::to_string(entry.gone - 1)) + "s " + std::to_string(entry.result) + " " +
           std::to_string(whole) + (broken != 0 ? "+" + std::to_string(broken) : "");
}

char outcome(const OrvSMTPDialogue& dialogue, const Place& place, const Stage& stage, const Fault& fault) {
    OfflineClient client(dialogue);
    client.system().name("mx1.example", "192.0.2.1");
    client.system().name("mx2.example", "192.0.2.2");
    const bool v6 = place.primary[0] == '2';
    spoil(client.system().at(v6 ? "2001:db8::1" : "192.0.2.1"), stage, fault);
    client.system().at(v6 ? "2001:db8::2" : "192.0.2.2");
    client.useServers(place.primary, place.secondary);
    client.queueMail("first", {"a@x"});
    client.queueMail("second", {"b@x"});
    client.run(2000);
    const auto& entries = client.queue().entries();
    const std::string what =
        outcomeOf(client, entries.front(), "a@x") + " / " + outcomeOf(client, entries.back(), "b@x");
    for (const Outcome& known : kOutcomes) {
        if (what == known.what) {
            const bool silent = known.letter == '.' || known.letter == 'b' || known.letter == '-';
            EXPECT_TRUE(silent || !client.takeLog().empty()) << "the operator is not told";
            return known.letter;
        }
    }
    ADD_FAILURE() << what;
    return '?';
}

constexpr char kStageNames[] = "greeting EHLO HELO MAIL RCPT DATA text end RSET QUIT";

// One reply is what one receive brings: a reply in pieces, or one that nobody asked for, answers what is said next. A
// mail that is refused holds up those behind it.
constexpr char kRequired[] = R"(
    r . . r . r d r x .  put off
    r . . r x r d r x .  refused
    r . . r x r d r x .  too large
    r . . r x r d r x .  who are you
    r r r r . r d r x .  closing
    r . . r . r d r x .  421 and stays
    r r r r r r r r x .  closes
    r r r r r r r r x .  breaks off
    r r r r r r . . x .  closes inside
    r r r r r r . r x .  silent
    r r r x r d . . x .  a byte a minute
    r r r x r r . . x .  a megabyte
    . r r x r d . . x .  two pieces
    r r r x r d . . x .  byte by byte
    . . . . . . . . x .  two lines
    . . . . . . . . x .  lines in pieces
    . . . . . . . . x .  two codes
    . . . . . . . . x .  code alone
    . . . . . . . . x .  zero byte
    r . . r x r d r x .  no code
    . . . . . . . . x .  line feed
    . . . . . . . . x .  surplus
    . . . . . . . . x .  later surplus
    . . . . b r . - x .  other class
    r . . r x r d r x .  1yz
)";

// A reply is whole however it comes. What is refused about a mail is that mail's fate; a server that says what is no
// reply, closes, or wants to know who we are, is left for the retry.
constexpr char kConforming[] = R"(
    r . . l l l r l X .  put off
    r . . x x x r x X .  refused
    r . . x x x r x X .  too large
    r . . r r r r r X .  who are you
    r r r r r r r r X .  closing
    r r r r r r r r X .  421 and stays
    r r r r r r r r X .  closes
    r r r r r r r r X .  breaks off
    r r r r r r r d X .  closes inside
    r r r r r r . r X .  silent
    r r r r r r r d X .  a byte a minute
    r r r r r r r d X .  a megabyte
    . . . . . . r . x .  two pieces
    . . . . . . r . x .  byte by byte
    . . . . . . r . x .  two lines
    . . . . . . r . x .  lines in pieces
    r r r r r r r d X .  two codes
    . . . . . . r . x .  code alone
    . . . . . . r . x .  zero byte
    r r r r r r r r X .  no code
    . . . . . . r . x .  line feed
    r r r r r r r . x .  surplus
    r r r r r r r . x .  later surplus
    r r r r r r r r X .  other class
    r r r r r r r r X .  1yz
)";

struct Table {
    const char* name;
    const OrvSMTPDialogue& dialogue;
    const char* expected;
};
const Table kTables[] = {{"Required", orvRequiredDialogue(), kRequired},
                         {"Conforming", orvConformingDialogue(), kConforming}};

class OrvDialogueMatrix : public testing::TestWithParam<std::tuple<Table, Place>> {};

}  // namespace

TEST_P(OrvDialogueMatrix, holds) {
    const auto& [table, place] = GetParam();
    std::string found = "\n";
    for (const Fault& fault : kFaults) {
        found += "    ";
        for (const Stage& stage : kStages) {
            SCOPED_TRACE(std::string(fault.name) + " at " + stage.name);
            found += outcome(table.dialogue, place, stage, fault);
            found += ' ';
        }
        found += std::string(" ") + fault.name + "\n";
    }
    EXPECT_EQ(found, table.expected) << kStageNames;
}

INSTANTIATE_TEST_SUITE_P(Both, OrvDialogueMatrix,
                         testing::Combine(testing::ValuesIn(kTables), testing::ValuesIn(kPlaces)),
                         [](const auto& cell) {
                             return std::string(std::get<0>(cell.param).name) + std::get<1>(cell.param).name;
                         });
