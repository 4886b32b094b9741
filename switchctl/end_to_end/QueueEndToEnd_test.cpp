// The queue of a daemon that runs: what is shown and exported is what its mail server gets.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <regex>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class QueueEndToEnd : public SwitchProcesses {
protected:
    // A daemon whose mail server is not there, with a message that waits.
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        configureWithDeadServer();
        done({"event", "log", "--type", "0", "--number", "0x00010002", "--slot", "3", "something happens"});
        EXPECT_THAT(listWith("last reply: 127.0.0.1:1 "), StartsWith("NUMBER "));
    }
    std::string listWith(const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        std::string list = done({"queue", "list"});
        while (list.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            list = done({"queue", "list"});
        }
        EXPECT_THAT(list, HasSubstr(text));
        return list;
    }
    static std::string withoutDate(const std::string& text) {
        return std::regex_replace(text, std::regex("Date: [^\r\n]*"), "Date:");
    }
    std::string contents(const std::string& file) const {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

TEST_F(QueueEndToEnd, whatIsExportedIsWhatTheMailServerGetsAndTryGetsItThere) {
    const std::string list = done({"queue", "list"});
    EXPECT_THAT(list, HasSubstr("\n        Operators: a@x waiting\n"));
    const std::string number = Child("/bin/sh", {"-c", "echo \"$0\" | sed -n '2s/ .*//p'", list}, {}).readLine();
    const std::string mails = directory() + "/mails";
    EXPECT_EQ(done({"queue", "export", "--to", mails}),
              mails + "/m" + number.substr(0, number.size() - 1) + "-Operators.eml: from a@x to a@x\n");
    const std::string exported = contents(mails + "/m" + number.substr(0, number.size() - 1) + "-Operators.eml");
    ScriptedMailServer server;

    done({"attr", "set", "Global.Callhome.SMTPPort=" + std::to_string(server.port())});
    EXPECT_THAT(done({"queue", "try"}), StartsWith("done: orvApp reads its settings anew"));

    ASSERT_TRUE(server.waitUntil([&] { return !server.mailsTaken().empty(); }));
    EXPECT_EQ(withoutDate(server.mailsTaken().front().text), withoutDate(exported));
    EXPECT_THAT(done({"ledger"}), HasSubstr("\nIt adds up: "));
    const std::string timeline = done({"timeline", number.substr(0, number.size() - 1)});
    EXPECT_THAT(timeline, HasSubstr("Encountered failure communicating with SMTP server=127.0.0.1, port=1,"));
    EXPECT_THAT(timeline, HasSubstr(" server  > RCPT TO:<a@x>\n"));
    EXPECT_THAT(timeline, HasSubstr(" queue   comes back: entry ("));
    EXPECT_THAT(done({"timeline", "--profile", "Operators"}), HasSubstr(" server  > RCPT TO:<a@x>\n"));
}

// What a terminal says to the question.
std::string clearAt(const Environment& environment, const char* answer) {
    int terminal = -1;
    int itsEnd = -1;
    EXPECT_EQ(openpty(&terminal, &itsEnd, nullptr, nullptr, nullptr), 0);
    const Descriptor ours(terminal);
    const Descriptor theirs(itsEnd);
    EXPECT_GT(write(terminal, answer, strlen(answer)), 0);
    Child switchctl(Program::SWITCHCTL, {"queue", "clear"}, environment, [&] { dup2(itsEnd, STDIN_FILENO); });
    const std::string text = switchctl.readAll();
    return std::to_string(switchctl.wait()) + " " + text;
}

TEST_F(QueueEndToEnd, clearDiscardsOnlyWhatSomebodyHasAgreedTo) {
    EXPECT_THAT(clearAt(environment(), "n\n"),
                testing::MatchesRegex("1 Discard [12] messages\\? \\[y/N\\] switchctl: nothing was discarded\n"));
    listWith("\n        Operators: a@x waiting\n");

    EXPECT_THAT(clearAt(environment(), "Yes\n"), HasSubstr("done: queued messages are discarded; there were "));

    listWith("0 messages with a file, 0 bytes\n");
    EXPECT_THAT(done({"ledger"}), HasSubstr("\nIt adds up: "));
}

TEST_F(QueueEndToEnd, theFilesAreShownWithoutAnySwitch) {
    daemon_->signal(SIGKILL);
    daemon_->wait();
    EXPECT_THAT(done({"queue", "list"}), HasSubstr("orvApp does not run: what waits is tried after its start\n"));
    switchd_->signal(SIGKILL);
    switchd_->wait();

    const ProcessOutcome result = switchctl({"queue", "list", "--timeout", "0.2"});

    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("\n        Operators: a@x waiting\n"));
    EXPECT_THAT(result.output, HasSubstr("whether orvApp runs is not known: switchd cannot be reached\n"));
}

}  // namespace
