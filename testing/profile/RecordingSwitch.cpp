#include "testing/profile/RecordingSwitch.h"

#include "Hsb.h"
#include "Log_Event.h"
#include "MessageCodes.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "catalogue/OrvEventCatalogue.h"
#include "dbg/OrvEventLog.h"
#include "platform/client/HostPlatform.h"
#include "platform/wire/DsWire.h"
#include "platform/wire/EventLogWire.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

constexpr char kTraceFile[] = "/tmp/orv.out.Test";
constexpr char kName[] = "OrvApp";
constexpr Hsb_Address kAddress{1, 100, 1};

std::string entryLine(std::uint16_t code, const EventLogEntry& entry) {
    const std::string line =
        (code == EventLogCode::ALARM ? "alarm" : "log") + orvFormat(" %d %x ", entry.level, entry.id) + entry.text;
    const bool isOwn = entry.slot == -1 && entry.chip == -1 && entry.port == -1 && entry.spare == -1 &&
                       entry.flags == kOrvOwnEntryFlags && entry.component == kName;
    if (isOwn && orvFindInCatalogue(entry.level, entry.id, entry.text)) {
        return line;
    }
    // In front, where no text can pass for it.
    return (isOwn ? "not in the daemon's catalogue: " : "not marked as the daemon's own: ") + line;
}

std::string bulkLine(const DsBulkGet& request) {
    std::string line = orvFormat("bulk %u:", request.id);
    for (const std::string& name : request.names) {
        line += " " + name;
    }
    return line;
}

// The length of what opens a trace record: date, zone, time and process id, with their blanks. 0 for any other line.
std::size_t tracePrefix(const std::string& line) {
    constexpr char kDigits[] = "0123456789";
    if (line.size() < 10 || line[2] != '/' || line[5] != '/') {
        return 0;
    }
    const std::size_t milliseconds = line.find('.');
    if (milliseconds == std::string::npos || line.compare(milliseconds + 4, 2, "  ") != 0) {
        return 0;
    }
    const std::size_t process = milliseconds + 6;
    const std::size_t end = line.find_first_not_of(kDigits, process);
    return end == std::string::npos || end == process || line[end] != ' ' ? 0 : end + 1;
}

}  // namespace

RecordingSwitch::RecordingSwitch() {
    std::filesystem::create_directories(root_.at(kOrvAttachmentsDirectory));
    logger_ = std::make_unique<OrvDbg>(kTraceFile + std::strlen("/tmp/"));
    HostPlatform::useTransport(this);
    Log_Event::instance_m = new Log_Event;
    Log_Event::instance_m->open();
    setOrvApplication(this);
    if (OrvDbg::setOfThread(logger_.get()) < 0 || Hsb::instance()->init(1, 0, 0) == 0 || slot_.insert(this) < 0 ||
        store_.init(this, this) == 0) {
        throw std::runtime_error("the process does not come onto the bus");
    }
    sent_.clear();
    takeTraces();
}

RecordingSwitch::~RecordingSwitch() {
    slot_.remove();
    setOrvApplication(nullptr);
    delete std::exchange(Log_Event::instance_m, nullptr);
    Hsb::instance()->shutdown();
    HostPlatform::useTransport(nullptr);
    [[maybe_unused]] const int result = OrvDbg::setOfThread(nullptr);
    logger_.reset();
}

std::vector<std::string> RecordingSwitch::takeSent() {
    return std::exchange(sent_, {});
}

std::vector<std::string> RecordingSwitch::takeTraces() {
    struct stat status {};
    const bool isThere = stat(root_.at(kTraceFile).c_str(), &status) == 0;
    const std::string content = root_.read(kTraceFile);
    std::string fresh;
    if (isThere && status.st_ino != traceInode_ && traceInode_ != 0) {
        // Rotated since: the rest stands in the generation before.
        fresh = root_.read(std::string(kTraceFile) + ".1").substr(tracesTaken_) + content;
    } else {
        fresh = content.substr(tracesTaken_);
    }
    traceInode_ = status.st_ino;
    tracesTaken_ = content.size();
    return parseTraces(fresh);
}

// A record may have several lines.
std::vector<std::string> RecordingSwitch::parseTraces(const std::string& content) {
    std::vector<std::string> records;
    std::size_t at = 0;
    while (at < content.size()) {
        const std::size_t end = content.find('\n', at);
        const std::size_t next = end == std::string::npos ? content.size() : end + 1;
        const std::string line = content.substr(at, next - at);
        if (const std::size_t prefix = tracePrefix(line); prefix > 0) {
            records.push_back(line.substr(prefix));
        } else if (!records.empty()) {
            records.back() += line;
        }
        at = next;
    }
    return records;
}

int RecordingSwitch::attach(TransportReceiver& /*receiver*/, Hsb_Address& address) {
    address = kAddress;
    return 0;
}

int RecordingSwitch::attachService(TransportReceiver& /*receiver*/, const Hsb_Address& /*address*/) {
    return -1;
}

void RecordingSwitch::detach(const Hsb_Address& /*address*/) {
}

int RecordingSwitch::send(const Hsb_Message& message) {
    if (message.format() == MessageFormat::EVENT_LOG) {
        note(entryLine(message.code(), decodeFields<EventLogEntry>(message.payload()).value()));
        return 0;
    }
    if (message.format() == MessageFormat::DS && message.code() == DsCode::BULK_GET) {
        return sendRequest(bulkLine(decodeFields<DsBulkGet>(message.payload()).value()));
    }
    if (message.format() == MessageFormat::DS && message.code() == DsCode::SET) {
        const DsSet request = decodeFields<DsSet>(message.payload()).value();
        return sendRequest(orvFormat("set %u %u %u ", request.id, request.type, request.count) + request.name + "=" +
                           request.value);
    }
    return 0;
}

int RecordingSwitch::sendRequest(const std::string& line) {
    if (refusedRequest_ > 0 && --refusedRequest_ == 0) {
        return -1;
    }
    note(line);
    return 0;
}

void RecordingSwitch::note(const std::string& line) {
    sent_.push_back(line);
    if (echoes_) {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
}

int RecordingSwitch::component_name(char* buffer, int length) {
    constexpr int kLength = sizeof kName - 1;
    if (length < kLength) {
        return -1;
    }
    std::memcpy(buffer, kName, kLength);
    return kLength;
}

int RecordingSwitch::handle_message(Hsb_Message* /*message*/) {
    return 0;
}

LocalZone::LocalZone(const char* zone) {
    const char* former = getenv("TZ");
    wasSet_ = former != nullptr;
    former_ = wasSet_ ? former : "";
    setenv("TZ", zone, 1);
    tzset();
}

LocalZone::~LocalZone() {
    if (wasSet_) {
        setenv("TZ", former_.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}
