// Partners that fail and input that makes no sense: a clear error in time, the right exit status, nothing half done.
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using std::chrono::steady_clock;

class BadInput : public SwitchProcesses {
protected:
    std::string file(const std::string& name, const std::string& bytes) const {
        const std::string path = directory() + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
};

// Every command, as an operator types it, for a partner that does not answer.
const Words COMMANDS[] = {
    {"status"},
    {"wait", "orvApp", "started"},
    {"attr", "get", "Config.Switch.SymName"},
    {"attr", "set", "A.Key=1"},
    {"attr", "list"},
    {"attr", "unset", "A.Key"},
    {"event", "log", "--type", "0", "--number", "1", "text"},
    {"event", "state", "Online"},
    {"event", "address", "192.0.2.1"},
    {"event", "hostname", "sw"},
    {"event", "raw", "--category", "1", "--number", "1"},
    {"callhome", "profile-change"},
    {"callhome", "test", "Operators"},
    {"callhome", "clear-queue"},
    {"callhome", "processed"},
    {"callhome", "changeover"},
    {"callhome", "queue"},
    {"callhome", "probe"},
    {"callhome", "request", "--code", "6", "--hex", "0000000000000000"},
    {"callhome", "message", "--format", "108", "--code", "5"},
    {"callhome", "setup", "--enable"},
    {"profile", "list"},
    {"profile", "show", "Operators"},
    {"profile", "add", "Operators", "--level", "Info", "--format", "Tsc1", "--email", "a@x"},
    {"profile", "remove", "Operators"},
    {"log"},
    {"log", "--follow"},
    {"fault", "add", "refuse"},
    {"fault", "list"},
    {"fault", "remove", "1"},
    {"fault", "clear"},
    {"fault", "release"},
};

Words within(Words words, const char* seconds) {
    words.insert(words.end(), {"--timeout", seconds});
    return words;
}

TEST_F(BadInput, everyCommandGivesUpOnASwitchdThatHangs) {
    const auto switchd = startSwitchd();
    const std::string before = done({"attr", "list"});
    switchd->signal(SIGSTOP);
    const auto begin = steady_clock::now();
    std::vector<std::unique_ptr<Child>> all;
    for (const Words& command : COMMANDS) {
        all.push_back(start(Program::SWITCHCTL, within(command, "1")));
    }
    for (std::size_t number = 0; number < all.size(); ++number) {
        SCOPED_TRACE(testing::PrintToString(COMMANDS[number]));
        EXPECT_EQ(all[number]->readAll(), "switchctl: switchd did not answer in 1 s\n");
        EXPECT_EQ(all[number]->wait(), 3);
    }
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(30));
    switchd->signal(SIGCONT);

    // Nor does it do afterwards what it was told to.
    EXPECT_EQ(done({"attr", "list"}), before);
    EXPECT_EQ(done({"fault", "list"}), "no faults\n");
}

TEST_F(BadInput, aSwitchdThatEndsHalfWayIsNoticedAtOnce) {
    for (const Words& command : {Words{"callhome", "test", "Operators"}, Words{"log", "--follow"}}) {
        const auto switchd = startSwitchd();
        const auto daemon = startDaemon();
        configureWithDeadServer();  // The test message stays in the queue.
        const auto waiting = start(Program::SWITCHCTL, within(command, "1000"));
        EXPECT_THAT(waiting->readLine(), EndsWith("\n"));  // It has had its first answer.

        switchd->signal(SIGKILL);
        EXPECT_EQ(switchd->wait(), -SIGKILL);

        EXPECT_THAT(waiting->readAll(), EndsWith("switchctl: switchd has left the bus\n"));
        EXPECT_EQ(waiting->wait(), 3);
    }
}

TEST_F(BadInput, aDaemonThatEndsHalfWayIsNoticedAtOnce) {
    const auto switchd = startSwitchd();
    const auto daemon = startDaemon();
    daemon->signal(SIGSTOP);
    const auto waiting = start(Program::SWITCHCTL, {"callhome", "queue", "--timeout", "60"});

    daemon->signal(SIGKILL);
    EXPECT_EQ(daemon->wait(), -SIGKILL);

    // Whether the request came first or the end did.
    EXPECT_THAT(waiting->readAll(), testing::AnyOf("switchctl: the component has left the bus\n",
                                                   "switchctl: component 'orvApp' is not there\n"));
    EXPECT_EQ(waiting->wait(), 1);
}

struct SuspendedCase {
    Words command;
    std::string output;
};

TEST_F(BadInput, aDaemonThatIsSuspendedDoesNotAnswerAndGoesOnLater) {
    const auto switchd = startSwitchd();
    const auto daemon = startDaemon();
    const SuspendedCase cases[] = {
        {{"callhome", "profile-change"}, "switchctl: orvApp did not answer in 1 s; it may still be done\n"},
        {{"callhome", "test", "Operators"}, "switchctl: orvApp did not answer in 1 s; it may still be done\n"},
        {{"callhome", "clear-queue"}, "switchctl: orvApp did not answer in 1 s; it may still be done\n"},
        {{"callhome", "processed"}, "switchctl: orvApp did not answer in 1 s\n"},
        {{"callhome", "changeover"}, "switchctl: orvApp did not answer in 1 s; it may still be done\n"},
        {{"callhome", "queue"}, "switchctl: orvApp did not answer in 1 s\n"},
        {{"callhome", "probe"}, "switchctl: orvApp did not answer in 1 s\n"},
        {{"callhome", "setup", "--enable"},
         "switchctl: stored, but orvApp did not answer in 1 s; it may still be done\n"},
        {{"profile", "add", "Operators", "--level", "Info", "--format", "Tsc1", "--email", "a@x"},
         "switchctl: stored, but orvApp did not answer in 1 s; it may still be done\n"},
    };
    daemon->signal(SIGSTOP);
    std::vector<std::unique_ptr<Child>> all;
    for (const SuspendedCase& one : cases) {
        all.push_back(start(Program::SWITCHCTL, within(one.command, "1")));
    }
    for (std::size_t number = 0; number < all.size(); ++number) {
        SCOPED_TRACE(testing::PrintToString(cases[number].command));
        EXPECT_EQ(all[number]->readAll(), cases[number].output);
        EXPECT_EQ(all[number]->wait(), 3);
    }
    const ProcessOutcome status = switchctl({"status", "--timeout", "1"});
    EXPECT_EQ(status.status, 3);
    const std::string process = std::to_string(daemon->pid());
    EXPECT_THAT(status.output, HasSubstr("  1. orvApp is stopped: process " + process +
                                         " gets no time\n       kill -CONT " + process + "\n"));
    EXPECT_THAT(status.output, EndsWith("switchctl: orvApp did not answer in 1 s\n"));

    daemon->signal(SIGCONT);

    // It has been told what was stored meanwhile.
    std::string processed;
    const auto deadline = steady_clock::now() + std::chrono::seconds(20);
    while (processed.find("Operators") == std::string::npos && steady_clock::now() < deadline) {
        processed = switchctl({"callhome", "processed"}).output;
    }
    EXPECT_EQ(processed, "PROFILE    MESSAGES  LAST\nOperators  0         never\n");
}

TEST_F(BadInput, filesThatHoldGarbageAreNamedWithTheirLineAndSetNothing) {
    const auto switchd = startSwitchd();
    struct {
        const char* name;
        std::string bytes;
        std::string error;
    } const cases[] = {
        {"words", "A.Key=1\nno attribute\n", ":2: \"no attribute\" has no '='; write KEY=VALUE\n"},
        {"binary",
         std::string("A.Key=1\n\x7f"
                     "ELF\x02\x01\x00\x00 x",
                     18),
         ":2: \"\\x7fELF\\x02\\x01\\x00\\x00 x\" has no '='; write KEY=VALUE\n"},
        {"nokey", "A.Key=1\n# remark\n=x\n", ":3: \"\" cannot be a key; a key has 1 to 255 characters\n"},
        {"blank", "A.Key=1\nA Key=x\n",
         ":2: \"A Key\" cannot be a key; a key has no blanks, no '=' and nothing but ASCII characters\n"},
        {"letters", "A.Key=1\nK\xc3\xa4y=x\n",
         ":2: \"K\xc3\xa4y\" cannot be a key; a key has no blanks, no '=' and nothing but ASCII characters\n"},
        {"long", "A.Key=1\n" + std::string(256, 'k') + "=x\n",
         ":2: \"" + std::string(60, 'k') + "\"... cannot be a key; a key has 1 to 255 characters\n"},
    };
    for (const auto& one : cases) {
        const std::string path = file(one.name, one.bytes);
        const ProcessOutcome result = switchctl({"attr", "load", path});
        EXPECT_EQ(result.status, 2) << one.name;
        EXPECT_THAT(result.output, StartsWith("switchctl: " + path + one.error)) << one.name;
    }
    EXPECT_EQ(done({"attr", "list", "A."}), "");
}

TEST_F(BadInput, filesThatAreNoFilesOrHaveNoEndAreNotReadForEver) {
    const auto switchd = startSwitchd();
    const std::string directory_ = directory();
    const ProcessOutcome noFile = switchctl({"attr", "load", directory_ + "/none"});
    EXPECT_EQ(noFile.status, 2);
    EXPECT_THAT(noFile.output,
                StartsWith("switchctl: cannot read " + directory_ + "/none: No such file or directory\n"));
    const ProcessOutcome aDirectory = switchctl({"attr", "load", directory_});
    EXPECT_EQ(aDirectory.status, 2);
    EXPECT_THAT(aDirectory.output,
                StartsWith("switchctl: cannot read " + directory_ + "; write the name of a text file\n"));
    const ProcessOutcome endless = switchctl({"attr", "load", "/dev/zero"});
    EXPECT_EQ(endless.status, 2);
    EXPECT_THAT(endless.output, StartsWith("switchctl: /dev/zero:1: up to here there are more than 24 MB"));
}

// A value of 10 MB reaches the daemon and does it no harm.
TEST_F(BadInput, anAttributeOfTenMegabytesIsCarriedEverywhere) {
    const auto switchd = startSwitchd();
    const auto daemon = startDaemon();
    const std::string path = file("large", "Global.Callhome.StreetAddr=" + std::string(10u << 20, 'v') + "\n");

    EXPECT_EQ(done({"attr", "load", path, "--timeout", "30"}), "");
    EXPECT_EQ(done({"attr", "get", "Global.Callhome.StreetAddr", "--timeout", "30"}).size(),
              std::string("Global.Callhome.StreetAddr=\n").size() + (10u << 20));
    done({"callhome", "profile-change", "--timeout", "30"});

    EXPECT_THAT(switchctl({"status", "--timeout", "30"}).output, StartsWith("CallHome cannot send."));
    EXPECT_EQ(done({"callhome", "processed", "--timeout", "30"}), "no profiles\n");
    const ProcessOutcome larger =
        switchctl({"attr", "load", file("larger", "A.Key=1\nA.Larger=" + std::string((10u << 20) + 1, 'v') + "\n")});
    EXPECT_EQ(larger.status, 2);
    EXPECT_THAT(larger.output, HasSubstr("larger:2: the value of A.Larger is too long; a value has at most 10 MB\n"));
    EXPECT_EQ(done({"attr", "list", "A."}), "");
}

// Root may write everywhere: the child gives that up first.
void becomeNobody() {
    if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
        _exit(126);
    }
}

TEST_F(BadInput, aStateDirectoryThatCannotBeWrittenIsNamed) {
    const std::string closed = directory() + "/closed";
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    ASSERT_EQ(mkdir(closed.c_str(), 0555), 0);

    const ProcessOutcome none = run(Program::SWITCHD, {"--state", closed + "/state"}, becomeNobody);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "switchd: cannot create the directory " + closed + "/state: Permission denied\n");

    ASSERT_EQ(mkdir(root().c_str(), 0755), 0);
    ASSERT_EQ(chmod(root().c_str(), 0777), 0);
    const ProcessOutcome readOnly = run(Program::SWITCHD, {"--state", closed}, becomeNobody);
    EXPECT_EQ(readOnly.status, 1);
    EXPECT_THAT(readOnly.output, StartsWith("switchd: "));
    EXPECT_THAT(readOnly.output, HasSubstr(closed));
    EXPECT_TRUE(std::filesystem::is_empty(closed));
}

// The disk is full for files beyond this size.
void limitFiles() {
    const rlimit limit{600000, 600000};
    ::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(BadInput, aStoreThatCannotGrowRefusesTheWholeChangeAndGoesOn) {
    const auto switchd = startSwitchd(limitFiles);
    const std::string path = file("many", "A.First=1\nA.Large=" + std::string(1u << 20, 'v') + "\nA.Last=1\n");

    const ProcessOutcome result = switchctl({"attr", "load", path});

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, StartsWith("switchctl: "));
    EXPECT_THAT(result.output, HasSubstr("switch.db"));
    EXPECT_EQ(done({"attr", "list", "A."}), "");
    EXPECT_EQ(done({"attr", "set", "A.Small=1"}), "");
    EXPECT_EQ(done({"attr", "get", "A.Small"}), "A.Small=1\n");
}

}  // namespace
