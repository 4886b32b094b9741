#include "box/compare/Replay.h"

#include "MessageCodes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace box {
namespace {

// For a dialogue under way, once the daemon is told to end.
constexpr Time kPatience = 5 * kSecond;

model::Now clock(Time now) {
    return {.uptime = static_cast<std::uint32_t>(kFirstUptime + static_cast<std::int64_t>(now / kSecond)),
            .seconds = kFirstSecond + static_cast<std::int64_t>(now / kSecond),
            .microseconds = static_cast<std::uint32_t>(now % kSecond / 1000)};
}

model::Attributes attributesOf(const World& world) {
    model::Attributes attributes;
    for (const Attribute& attribute : world.attributes) {
        attributes[attribute.key] = attribute.value;
    }
    return attributes;
}

std::string shown(const std::string& text) {
    std::string out;
    for (const char c : text) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        out += c >= ' ' && c <= '~' ? std::string(1, c) : c == '\n' ? "\\n" : c == '\r' ? "\\r" : hex;
    }
    return out;
}

// The handle of a request is drawn by the switch.
std::string withoutHandle(std::uint32_t code, std::string payload) {
    return code == ManagementCode::TEST_PROFILE_RESULTS || payload.size() < 4 ? payload : payload.replace(0, 4, "----");
}

std::map<std::string, std::string> filesBelow(const std::string& root) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root + "/ostrel/conf/orv/callHome/queues")) {
        if (entry.is_regular_file()) {
            std::ifstream in(entry.path(), std::ios::binary);
            files[entry.path().string().substr(root.size())] = {std::istreambuf_iterator<char>(in), {}};
        }
    }
    return files;
}

}  // namespace

Replay::Replay(const World& world) : model_(attributesOf(world)) {
}

void Replay::differ(Time at, const std::string& expected, const std::string& got) {
    if (problem_.empty()) {
        differs_ = at;
        problem_ = "at " + timeText(at) + "\n  the model: " + shown(expected) + "\n  the daemon: " + shown(got);
    }
}

// What the model has told up to now is kept beside what the daemon told.
void Replay::noteSeen(Time at) {
    for (const model::LogEntry& entry : model_.takeLog()) {
        seen_.push_back({at, Happening::kLogs, entry.number, std::to_string(entry.level) + " " + entry.text, ""});
    }
    for (const model::Response& response : model_.takeResponses()) {
        seen_.push_back({at, Happening::kResponds, response.code, response.payload, ""});
    }
}

bool Replay::inTick(Time at) const {
    return at / kMillisecond * kMillisecond % kSecond == nextTick_ % kSecond;
}

// Ticks and limits that pass up to a time.
void Replay::advance(Time to) {
    while (!model_.over()) {
        const model::WireStep step = model_.wire();
        const Time limit = step.kind == model::WireStep::kNothing ? kNever : said_ + step.limit * kSecond;
        if (std::min(limit, nextTick_) > to) {
            return;
        }
        if (limit < nextTick_) {
            model_.silent(clock(limit));
            sent_.clear();
            said_ = limit;
            noteSeen(limit);
        } else {
            tick();
        }
    }
}

void Replay::tick() {
    model_.tick(clock(nextTick_));
    noteSeen(nextTick_);
    said_ = model_.wire().kind == model::WireStep::kConnect ? nextTick_ : said_;
    nextTick_ += kSecond;
}

void Replay::compareSaid(Time at) {
    if (model_.wire().kind != model::WireStep::kSpeak || model_.wire().bytes != sent_) {
        differ(at, "says " + model_.wire().bytes, "says " + sent_);
    }
    ++compared_;
    sent_.clear();
}

void Replay::heard(const Record& record) {
    compareSaid(record.at);
    if (problem_.empty()) {
        model_.replied(clock(record.at), record.text);
        said_ = record.at;
    }
}

void Replay::lost(const Record& record) {
    if (model_.wire().kind == model::WireStep::kConnect) {
        model_.connectFailed(clock(record.at), "Connect Error", record.text);
    } else {
        compareSaid(record.at);
        if (problem_.empty()) {
            model_.closed(clock(record.at), record.text);
        }
    }
    said_ = record.at;
}

void Replay::request(const Record& record) {
    const model::Now now = clock(record.at);
    switch (record.number) {
        case ManagementCode::PROFILE_CHANGE:
            return model_.profileChange(now, 0);
        case ManagementCode::TEST_PROFILE:
            return model_.testProfile(now, 0, record.text);
        case ManagementCode::CLEAR_QUEUE:
            return model_.clearQueue(now, 0);
        case ManagementCode::PROFILE_PROCESSED_INFO:
            return model_.processedInfo(now, 0);
        case ManagementCode::CHANGEOVER:
            return model_.changeOver(now, 0);
        default:
            return model_.queueInfo(now, 0);
    }
}

void Replay::apply(const Record& record) {
    const model::Now now = clock(record.at);
    switch (record.what) {
        case Happening::kSet:
            return model_.setAttribute(record.text, record.value);
        case Happening::kEvent: {
            Sw_Log_Type event;
            event.kind = static_cast<std::int32_t>(record.number);
            event.number = 0x00010002;
            event.seconds = static_cast<std::uint32_t>(now.seconds);
            event.microseconds = now.microseconds;
            event.text = record.text;
            return model_.event(now, event);
        }
        case Happening::kState:
            model_.setAttribute("Config.Switch.AdminState", record.text);
            return model_.state(now, record.text);
        case Happening::kHostname:
            return model_.hostname(now, record.text);
        case Happening::kAddress:
            return model_.address(now, record.text, "");
        case Happening::kRequest:
            return request(record);
        case Happening::kStop:
            stopped_ = record.at;
            return model_.stop(now);
        case Happening::kConnects: {
            const model::WireStep step = model_.wire();
            const std::string expected = step.server.address + ":" + std::to_string(step.server.port);
            if (step.kind != model::WireStep::kConnect || expected != record.text) {
                differ(record.at,
                       step.kind == model::WireStep::kConnect ? "connects to " + expected : "does not connect",
                       "connects to " + record.text);
            }
            sent_.clear();
            said_ = record.at;
            return;
        }
        case Happening::kConnected:
            if (model_.wire().kind != model::WireStep::kConnect) {
                return differ(record.at, "does not connect", "is connected");
            }
            model_.connected(now);
            said_ = record.at;
            return;
        case Happening::kSends:
            sent_ += record.text;
            return;
        case Happening::kHears:
            return heard(record);
        case Happening::kLoses:
            return lost(record);
        case Happening::kLogs:
        case Happening::kResponds:
            return;
    }
}

std::string Replay::life(Time begin, std::vector<Record> records, LifeEnd how, const World& after,
                         const std::string& root) {
    // How a connect ends is recorded when it begins, and felt later.
    std::stable_sort(records.begin(), records.end(),
                     [](const Record& one, const Record& other) { return one.at < other.at; });
    model_.start(clock(begin));
    noteSeen(begin);
    nextTick_ = begin / kMillisecond * kMillisecond + kSecond;  // the platform's timers count milliseconds
    for (const Record& record : records) {
        if (record.what == Happening::kLogs || record.what == Happening::kResponds || record.at > after.now) {
            continue;
        }
        tied_ = tied_ || (inTick(record.at) && record.what != Happening::kConnects && record.what != Happening::kSends);
        advance(record.at);
        if (model_.over() || !problem_.empty()) {
            break;
        }
        apply(record);
        noteSeen(record.at);
        if (tied_) {
            return "";
        }
    }
    tied_ = tied_ || inTick(after.now);
    if (problem_.empty() && !model_.over()) {
        advance(after.now);
    }
    if (problem_.empty() && !tied_) {
        problem_ = compareSeen(records);
    }
    if (problem_.empty() && !tied_ && how == LifeEnd::kEnded && !model_.over() &&
        after.now + kMillisecond < later(stopped_, kPatience)) {
        differ(after.now, "is still busy", "has ended");
    }
    if (!problem_.empty()) {
        problem_ += before(records) + "\n  the life ends at " + timeText(after.now) + ", way " +
                    std::to_string(static_cast<int>(how));
    }
    model_.kill();
    seen_.clear();
    sent_.clear();
    return problem_.empty() && !tied_ ? compareLeft(after, root) : problem_;
}

// What happened shortly before the difference.
std::string Replay::before(const std::vector<Record>& records) const {
    static constexpr const char* kNames[] = {"set",     "event", "state",    "hostname",     "address",
                                             "request", "stop",  "connects", "is connected", "sends",
                                             "hears",   "loses", "logs",     "responds"};
    constexpr std::size_t kShown = 25;
    std::vector<std::string> lines;
    for (const Record& record : records) {
        if (record.at <= differs_) {
            lines.push_back(timeText(record.at) + " " + kNames[static_cast<std::size_t>(record.what)] + " " +
                            std::to_string(record.number) + " " +
                            shown(record.text + " " + record.value).substr(0, 150));
        }
    }
    std::string text = "\n  before:";
    for (std::size_t at = lines.size() - std::min(lines.size(), kShown); at < lines.size(); ++at) {
        text += "\n    " + lines[at];
    }
    return text;
}

// Event log and responses, each in its own order.
std::string Replay::compareSeen(const std::vector<Record>& records) {
    for (const Happening what : {Happening::kLogs, Happening::kResponds}) {
        std::vector<const Record*> expected, got;
        for (const Record& record : seen_) {
            if (record.what == what) {
                expected.push_back(&record);
            }
        }
        for (const Record& record : records) {
            if (record.what == what) {
                got.push_back(&record);
            }
        }
        for (std::size_t at = 0; at < std::max(expected.size(), got.size()); ++at) {
            const auto text = [&](const std::vector<const Record*>& list) -> std::string {
                if (at >= list.size()) {
                    return "nothing more";
                }
                const Record& record = *list[at];
                return std::to_string(record.number) + " " +
                       (what == Happening::kLogs ? record.text : withoutHandle(record.number, record.text));
            };
            ++compared_;
            if (text(expected) != text(got)) {
                differ(at < got.size() ? got[at]->at : expected[at]->at, text(expected), text(got));
                return problem_;
            }
        }
    }
    return "";
}

std::string Replay::compareLeft(const World& after, const std::string& root) {
    const std::map<std::string, std::string> files = filesBelow(root);
    for (const auto& [path, bytes] : files) {
        const std::string* const expected = model_.flash().read(path);
        if (expected == nullptr || *expected != bytes) {
            differ(after.now, path + " holds " + (expected == nullptr ? "nothing" : *expected), bytes);
        }
        ++compared_;
    }
    for (const auto& [path, file] : model_.flash().files) {
        if (files.count(path) == 0) {
            differ(after.now, path + " holds " + file.bytes, "there is no such file");
        }
    }
    const model::Attributes attributes = attributesOf(after);
    for (const auto& [key, value] : model_.attributes()) {
        const auto found = attributes.find(key);
        if (found == attributes.end() || found->second != value) {
            differ(after.now, std::string(key).append(" is ").append(value),
                   found == attributes.end() ? "none" : found->second);
        }
    }
    return problem_;
}

}  // namespace box
