// serve: a page that shows CallHome to a browser on this machine.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/queue/QueueFiles.h"
#include "switchctl/serve/DayBook.h"
#include "switchctl/serve/Desk.h"
#include "switchctl/serve/PageServer.h"
#include "switchctl/text/Errors.h"
#include "switchctl/traces/ProbeTrace.h"
#include "switchctl/traces/TraceFile.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <sstream>
#include <thread>

namespace {

using std::chrono::minutes;
using std::chrono::seconds;

// No command's: what it says is counted here.
constexpr const char* DAY = "(day)";

struct ServeArguments {
    std::string listen = "127.0.0.1:8025";
    bool allowChanges = false;
};

// What its commands cost the daemon: nothing, but for "asked".
std::vector<Desk::Sheet> sheets() {
    return {
        {"status", {"--json", "--timeout", "3", "status", "--passive"}, seconds(2)},
        {"asked", {"--json", "--timeout", "5", "status"}, minutes(10)},
        {"queue", {"--json", "--timeout", "3", "queue", "list", "--passive"}, seconds(2)},
        {"log", {"--json", "--timeout", "3", "log", "-n", "60", "--level", "16", "--explain"}, seconds(2)},
        {"metrics", {"--timeout", "3", "metrics"}, seconds(2)},
        {"profiles", {"--json", "--timeout", "3", "profile", "list"}, seconds(10)},
        {"day", {DAY}, seconds(5), seconds(10)},
    };
}

// Reads on where it ended, so that a day costs as little as a moment.
class Day {
public:
    explicit Day(Session& session) : session_(session) {}

    Desk::Result read() {
        std::string text;
        bool whole = true;
        if (trace_.readOn(text, whole) == 0) {
            book_.takeTrace(text, whole);
        }
        readLog();
        const std::int64_t now = std::time(nullptr);
        const auto entries = QueueFiles::read().entries;
        book_.takeWaiting(static_cast<std::uint64_t>(std::ranges::count(entries, QueueFiles::SEND, &QueueEntry::queue)),
                          now);
        return {ExitStatus::DONE, book_.upTo(now).dump() + "\n"};
    }

private:
    // What operators see, the last of it where there is too much.
    void readLog() {
        std::ostringstream out;
        std::ostringstream err;
        Desk::Words line = {"--timeout", "3", "log", "--level", "3", "--component", "orvApp"};
        const bool first = book_.lastEntry() == 0;
        line.insert(line.end(), {first ? "-n" : "--since", first ? "2000" : std::to_string(book_.lastEntry())});
        if (session_.line(line, out, err) == ExitStatus::DONE) {
            book_.takeLog(out.str());
        }
    }

    Session& session_;
    TraceFile trace_{ProbeTrace::mainFile()};
    DayBook book_;
};

// Connections that nobody serves yet are not let pile up.
void boundDescriptors() {
    constexpr rlim_t MOST = 384;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur > MOST) {
        limit.rlim_cur = MOST;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Ends a run when the program is told to end. Made before any other thread, so that none of them gets the signal.
class EndSignals {
public:
    EndSignals() {
        sigemptyset(&set_);
        sigaddset(&set_, SIGINT);
        sigaddset(&set_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &set_, &before_);
    }
    ~EndSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    void wait() const {
        int signal = 0;
        sigwait(&set_, &signal);
    }

private:
    sigset_t set_{};
    sigset_t before_{};
};

// Whoever starts a page for a switch that is not there learns that at once; one that leaves later is waited for.
void requireSwitch(const Session& session) {
    std::ostringstream out;
    std::ostringstream err;
    if (session.line({"--timeout", "5", "attr", "list", "Global.Callhome."}, out, err) == ExitStatus::NO_ANSWER) {
        constexpr std::size_t BEGIN = std::char_traits<char>::length("switchctl: ");
        throw NoAnswer(err.str().substr(BEGIN, err.str().find('\n') - BEGIN));
    }
}

void serve(Session& session, const ServeArguments& arguments) {
    const PageAddress wanted = PageAddress::parse(arguments.listen);
    requireSwitch(session);
    boundDescriptors();
    const EndSignals end;
    Day day(session);
    Desk desk(
        [&](const Desk::Words& words) {
            if (words.front() == DAY) {
                return day.read();
            }
            std::ostringstream out;
            std::ostringstream err;
            const int status = session.line(words, out, err);
            return Desk::Result{status, out.str()};
        },
        sheets());
    const std::string token = arguments.allowChanges ? PageServer::newToken() : "";
    PageServer server(desk, wanted, token);
    const std::string address = "http://" + server.bind().text() + "/" + (token.empty() ? "" : "#" + token);
    session.print(Json().set("address", address).set("changes", arguments.allowChanges),
                  "CallHome's page is at " + address + "\n");
    std::thread pages([&] { server.run(); });
    std::thread waiter([&] {
        end.wait();
        desk.stop();
        server.stop();
    });
    desk.run();
    pages.join();
    waiter.join();
}

}  // namespace

void addServeCommand(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "serve", command_text::kServe, serve);
    command.take({"--listen", "ADDRESS:PORT", "Where; 127.0.0.1:8025 unless given, 0 for any port"}, arguments.listen)
        .flag("--allow-changes", "Let the page try mails now and send test messages", arguments.allowChanges);
}
