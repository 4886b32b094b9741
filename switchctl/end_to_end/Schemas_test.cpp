// What every command prints with --json is what docs/schemas says of it: asked of programs that run.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <fstream>
#include <string_view>

namespace {

struct SchemaCase {
    const char* schema;
    const char* line;  // for a shell; $N is a message that waits, $D the test's directory
};

// In this order: later ones need what earlier ones have set.
constexpr SchemaCase CASES[] = {
    {"wait", "wait orvApp started"},
    {"status", "status"},
    {"status", "watch --count 1"},
    {"doctor", "doctor"},
    {"doctor", "doctor --offline"},
    {"attr-get", "attr get Global.Callhome.FromAddr No.Such"},
    {"attr-list", "attr list Global.Callhome"},
    {"attr-list", "attr set Some.Key=1"},
    {"attr-load", "attr load $D/attributes"},
    {"attr-unset", "attr unset Some.Key Other.Key"},
    {"event", "event log --type 3 --number 7 text"},
    {"event", "event state Online"},
    {"event", "event address 192.0.2.7"},
    {"event", "event hostname switch"},
    {"event", "event raw --category 77 --number 1"},
    {"callhome-queue", "callhome queue"},
    {"callhome-processed", "callhome processed"},
    {"callhome-probe", "callhome probe"},
    {"callhome-request", "callhome request --code 6 --hex 00000000"},
    {"callhome-message", "callhome message --format 103 --code 99"},
    {"error", "callhome changeover"},
    {"error", "callhome test Operators --timeout 1"},
    {"error", "profile show nobody"},
    {"error", "attr set x"},
    {"queue-list", "queue list"},
    {"queue-show", "queue show $N"},
    {"queue-export", "queue export --to $D/mails"},
    {"ledger", "ledger"},
    {"timeline", "timeline $N"},
    {"profile-list", "profile list"},
    {"profile-show", "profile show Operators"},
    {"profile-add", "profile add Night --level warn --format Tsc1 --email b@x --capture mon,2:30,1"},
    {"profile-add", "profile set Night --level Info"},
    {"preview-event", "preview event --type 0 --number 7 text"},
    {"preview-capture", "preview capture Night"},
    {"profile-remove", "profile remove Night"},
    {"log", "log"},
    {"log", "log -n 3 --explain"},
    {"log-follow", "log --follow --since 1 | head -n 1"},
    {"explain", "explain 550 queue-full 0x8b000013"},
    {"fault-add", "fault add refuse --key No.Such --count 3"},
    {"fault-list", "fault list"},
    {"fault-remove", "fault remove 1"},
    {"fault-remove", "fault clear"},
    {"fault-release", "fault release"},
    {"callhome-setup", "callhome setup --phone 1"},
    {"metrics", "metrics"},
    {"rehearse", "rehearse --hours 1 --rate 2 --down 1:10m"},
    {"serve",
     "serve --listen 127.0.0.1:0 >$D/page & until test -s $D/page; do :; done; kill $!; wait $!; cat $D/page; :"},
    {"queue-try", "queue try"},
    {"queue-clear", "queue clear --yes"},
    {"callhome-done", "callhome clear-queue"},
    {"attr-list", "attr set Global.Callhome.SMTPPort=$P"},
    {"callhome-done", "callhome profile-change"},
    {"callhome-test", "callhome test Operators --timeout 25"},
    {"timeline", "timeline --profile Operators"},
    {"status", "status"},
};

class Schemas : public SwitchProcesses {
protected:
    void SetUp() override {
        std::ofstream(directory() + "/attributes") << "Other.Key=2\n";
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        configureWithDeadServer();
        done({"event", "log", "--type", "0", "--number", "0x00010002", "something happens"});
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (done({"queue", "list"}).find("last reply: ") == std::string::npos &&
               std::chrono::steady_clock::now() < deadline) {
        }
    }
    Environment surroundings() const {
        Environment all = environment();
        all["D"] = directory();
        all["N"] = number_;
        all["S"] = Program::SWITCHCTL;
        all["P"] = std::to_string(server_.port());
        all["PATH"] = "/usr/bin:/bin";
        return all;
    }
    std::string shell(const std::string& script) const {
        return Child("/bin/sh", {"-c", script}, surroundings()).readLine();
    }

    // A server that a daemon told to read its settings will have read of.
    void waitUntilItCanSend() const {
        shell("until \"$S\" --json status | grep -q '\"canSend\":true'; do :; done; echo");
    }

    std::string number_;
    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

TEST_F(Schemas, holdForWhatEveryCommandPrints) {
    number_ = shell("\"$S\" queue list | sed -n '2s/ .*//p'");
    number_.pop_back();
    {
        std::ofstream printed(directory() + "/printed");
        for (const SchemaCase& one : CASES) {
            if (std::string_view(one.schema) == "callhome-test") {
                waitUntilItCanSend();
            }
            printed << one.schema << "\t" << shell(std::string("\"$S\" --json ") + one.line + " 2>/dev/null");
        }
    }

    const ProcessOutcome result = run("/usr/bin/python3", {CHECK_SCHEMAS, SCHEMAS, directory() + "/printed"});

    EXPECT_EQ(result.status, 0) << result.output;
}

}  // namespace
