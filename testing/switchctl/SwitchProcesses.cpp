#include "testing/switchctl/SwitchProcesses.h"

#include "switchd/store/SqliteStore.h"
#include "testing/Uncatalogued.h"

#include <chrono>
#include <filesystem>
#include <vector>

const char* const Program::SWITCHD = SWITCHD_FILE;
const char* const Program::SWITCHCTL = SWITCHCTL_FILE;
const char* const Program::DAEMON = DAEMON_FILE;

namespace {

// Nothing where a test has damaged the file.
std::vector<LogEntry> entriesIn(const std::string& database) {
    std::vector<LogEntry> entries;
    std::string reason;
    const auto store = std::filesystem::exists(database) ? SqliteStore::open(database, reason) : nullptr;
    if (store) {
        EXPECT_EQ(store->readSince(0, EventLogStore::CAPACITY, entries), 0) << store->reason();
    }
    return entries;
}

}  // namespace

SwitchProcesses::SwitchProcesses() {
    Uncatalogued::forget();
}

SwitchProcesses::~SwitchProcesses() {
    for (const LogEntry& entry : entriesIn(state() + "/switch.db")) {
        Uncatalogued::take(entry);
    }
    EXPECT_EQ(Uncatalogued::next(), "");
}

std::unique_ptr<Child> SwitchProcesses::start(const std::string& program, const Words& arguments,
                                              const std::function<void()>& preparation) const {
    return std::make_unique<Child>(program, arguments, environment(), preparation);
}

ProcessOutcome SwitchProcesses::run(const std::string& program, const Words& arguments,
                                    const std::function<void()>& preparation) const {
    const auto child = start(program, arguments, preparation);
    std::string output = child->readAll();
    return {child->wait(), output};
}

ProcessOutcome SwitchProcesses::switchctl(const Words& arguments) const {
    return run(Program::SWITCHCTL, arguments);
}

std::string SwitchProcesses::done(const Words& arguments) const {
    const ProcessOutcome result = switchctl(arguments);
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
}

std::unique_ptr<Child> SwitchProcesses::startSwitchd(const std::function<void()>& preparation) const {
    auto child = start(Program::SWITCHD, {"--state", state()}, preparation);
    EXPECT_THAT(switchctl({"status", "--timeout", "30"}).output, testing::HasSubstr("\ncomponents    none\n"));
    return child;
}

std::unique_ptr<Child> SwitchProcesses::startDaemon() const {
    auto child = start(Program::DAEMON, {});
    done({"wait", "orvApp", "started", "--timeout", "30"});
    return child;
}

void SwitchProcesses::configureWithDeadServer() const {
    done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp", "1-127.0.0.1:1"});
    if (switchctl({"profile", "show", "Operators"}).status != 0) {
        done({"profile", "add", "Operators", "--level", "Info", "--format", "Tsc1", "--email", "a@x"});
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    // A message that waits from before may have been tried already.
    const auto isRead = [](const std::string& status) {
        return status.starts_with("{\"canSend\":true") ||
               status.starts_with(
                   "{\"canSend\":false,\"problems\":[{\"cause\":\"server\",\"text\":\"the mail server 127.0.0.1:1 ");
    };
    std::string status;
    while (!isRead(status) && std::chrono::steady_clock::now() < deadline) {
        status = switchctl({"status", "--json"}).output;
    }
    EXPECT_TRUE(isRead(status)) << status;
}
