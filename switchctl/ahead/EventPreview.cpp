#include "switchctl/ahead/EventPreview.h"

#include "base/OrvPaths.h"
#include "catalogue/OrvLogEntries.h"
#include "host_root.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvMesgNumbers.h"
#include "switchctl/ahead/ProbedProfile.h"
#include "switchctl/ahead/RunAhead.h"
#include "switchctl/text/PlainFile.h"
#include "switchctl/traces/DaemonWords.h"
#include "switchctl/traces/ProbeTrace.h"

#include <algorithm>

namespace {

using ahead::Act;
using Verdict = EventPreview::Admission::Verdict;

// By then a daemon has read its configuration and mailed that it has started.
constexpr std::uint64_t READY = 30;
constexpr std::uint64_t AFTER = 10;
constexpr std::size_t LARGEST_FILE = 8 << 20;

constexpr std::uint64_t BEFORE_AT = (READY - 1) * ahead::kSecond;
constexpr std::uint64_t EVENT_AT = READY * ahead::kSecond;
constexpr std::uint64_t AFTER_AT = (READY + AFTER) * ahead::kSecond;

ahead::Timetable tableOf(const LogRecord& event, const std::vector<Attribute>& attributes, std::int64_t now) {
    const WireBytes bytes = encodeFields(event);
    ahead::Timetable table;
    table.begin = now - static_cast<std::int64_t>(READY);
    table.end = AFTER_AT + ahead::kSecond;
    table.attributes = attributes;
    table.steps = {{BEFORE_AT, Act::kProbe, 0, ""},
                   {EVENT_AT, Act::kPublish, 0, {bytes.begin(), bytes.end()}},
                   {AFTER_AT, Act::kProbe, 0, ""}};
    return table;
}

// Why the daemon offers an event to no profile, whatever its level.
std::string whyNotOffered(const Sw_Log_Type& record) {
    if (record.kind != 0 && record.kind != 2 && record.kind != 3) {
        return "its log type is " + std::to_string(record.kind) + "; CallHome takes 0, 2 and 3";
    }
    return record.flags == kOrvOwnEntryFlags ? "its flags are those of the daemon's own entries" : "";
}

std::string whyNot(const ProbedProfile& profile, std::int32_t level) {
    if (level < orvLevelNumber(profile.level)) {
        const bool takesNone = profile.level == orvLevelName(kOrvLevelNone);
        return std::string("the event is ") + orvLevelName(level) + ", the profile takes " +
               (takesNone ? "no events" : profile.level + " and above");
    }
    return profile.recipients.empty() ? "it has no recipients"
                                      : "CallHome takes no events: switchctl status says what is missing";
}

// The one that a mail's subject names.
std::string profileOf(const ahead::TakenMail& mail, const std::vector<EventPreview::Profile>& profiles) {
    const std::string subject = mail.text.substr(0, mail.text.find("\r\n\r\n"));
    for (const EventPreview::Profile& profile : profiles) {
        if (profile.matches && subject.find(": " + profile.name + "] ") != std::string::npos) {
            return profile.name;
        }
    }
    return "";
}

// The queue's files as they stand.
std::vector<ahead::FlashFile> filesOf(const QueueFiles& queue) {
    std::vector<std::string> paths;
    for (const QueueEntry& entry : queue.entries) {
        paths.push_back(entry.path);
    }
    const std::string& root = host_root();
    paths.push_back(root + kOrvQueuesDirectory + "/send/order");
    paths.push_back(root + kOrvQueuesDirectory + "/duplicate/order");
    std::vector<ahead::FlashFile> files;
    for (const std::string& path : paths) {
        PlainFile file;
        if (PlainFile::read(path, LARGEST_FILE, file) == 0) {
            files.push_back({path.substr(root.size()), std::move(file.bytes)});
        }
    }
    return files;
}

void readVerdict(EventPreview::Admission& admission, const std::string& trace) {
    const auto has = [&](std::string_view words) { return trace.find(words) != std::string::npos; };
    if (has(DaemonWords::TOO_LARGE)) {
        admission.verdict = Verdict::REFUSED;
        admission.text = "refuses it: it is larger than all the space that the queue may use";
    } else if (has(DaemonWords::NO_ROOM)) {
        admission.verdict = Verdict::REFUSED;
        admission.text = "refuses it: no room can be made";
    } else if (has(DaemonWords::ADDED_TO_SEND)) {
        admission.verdict = Verdict::TAKEN;
        admission.text = "takes it";
    }
}

// Of what the queue's own part of the daemon has traced since the event.
void readVerdicts(EventPreview::Admission& admission, const std::vector<ahead::Trace>& traces, bool mailing) {
    for (const ahead::Trace& trace : traces) {
        if (trace.at < EVENT_AT || trace.at >= AFTER_AT) {
            continue;
        }
        readVerdict(admission, trace.text);
        // What is mailed leaves the queue as well.
        if (!mailing && trace.text.find(DaemonWords::REMOVED_FROM_SEND) != std::string::npos) {
            ++admission.discarded;
        }
    }
}

void raise(std::vector<Attribute>& attributes, const std::string& key, const std::string& allowed,
           const std::string& by) {
    const auto number = [](const std::string& text) {
        return Text::number(Text::split(text, ' ')[0], 0, INT32_MAX).value_or(0);
    };
    const auto known = std::ranges::find(attributes, key, &Attribute::key);
    if (known != attributes.end()) {
        known->value = std::to_string(number(allowed) + number(by));
    }
}

// A daemon that starts may queue that it has started, which one that runs has mailed long ago: the quotas leave room
// for it.
void raiseQuotas(ahead::Timetable& table) {
    ahead::Timetable start = table;
    start.files.clear();
    start.end = BEFORE_AT + ahead::kSecond / 2;
    start.steps.pop_back();
    const ahead::Outcome outcome = RunAhead::play(start);
    for (const ahead::Trace& trace : outcome.traces) {
        auto values = ProbeTrace::valuesIn(trace.text, DaemonWords::QUEUE);
        if (!values.empty()) {
            raise(table.attributes, "Global.Callhome.FilesAllowed", values[DaemonWords::FILES_ALLOWED],
                  values[DaemonWords::WAITING]);
            raise(table.attributes, "Global.Callhome.FileSystemSpaceAllowed", values[DaemonWords::SPACE_ALLOWED],
                  values[DaemonWords::SPACE_IN_USE]);
        }
    }
}

bool isRepeatOf(const QueueEntry& entry, const std::string& key) {
    return entry.message && entry.message->whole() && entry.message->message().duplicateKey() == key;
}

void askTheDaemon(EventPreview& preview, const LogRecord& event, ahead::Timetable table, std::int32_t level) {
    table.listenFor = {std::string(DaemonWords::PROFILE.text), std::string(DaemonWords::QUEUE.module) + " "};
    const ahead::Outcome outcome = RunAhead::play(table);
    const auto before = ProbedProfile::allAt(outcome.traces, BEFORE_AT);
    const auto after = ProbedProfile::allAt(outcome.traces, AFTER_AT);
    preview.reason = whyNotOffered(event.record);
    for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
        const bool matches = after[i].processed > before[i].processed;
        const std::string why = preview.reason.empty() ? whyNot(after[i], level) : preview.reason;
        preview.profiles.push_back({after[i].name, matches, matches ? "" : why});
    }
    for (const ahead::TakenMail& mail : outcome.mails) {
        if (mail.at >= EVENT_AT) {
            preview.mails.push_back({"preview", profileOf(mail, preview.profiles), mail.from, mail.to, mail.text});
        }
    }
    readVerdicts(preview.admission, outcome.traces, true);
    for (const ahead::Trace& trace : outcome.traces) {
        auto values = ProbeTrace::valuesIn(trace.text, DaemonWords::QUEUE);
        if (values[DaemonWords::THROTTLES] == "true") {
            preview.throttles = true;
            preview.repeatSeconds = static_cast<std::uint32_t>(
                Text::number(Text::split(values[DaemonWords::THROTTLE_PERIOD], ' ')[0], 0, UINT32_MAX).value_or(0));
        }
    }
}

// The same daemon with what waits now, and no mail server that would take it meanwhile.
void askBesideTheQueue(EventPreview& preview, ahead::Timetable table, const QueueFiles& queue) {
    table.files = filesOf(queue);
    table.steps.insert(table.steps.begin(), {{0, Act::kRefuses, 0, ""}, {0, Act::kRefuses, 1, ""}});
    table.steps.pop_back();
    table.end = EVENT_AT + ahead::kSecond / 2;
    table.listenFor = {std::string(DaemonWords::QUEUE.module) + " "};
    raiseQuotas(table);
    preview.admission = {};
    readVerdicts(preview.admission, RunAhead::play(table).traces, false);
}

// A message of the same text and place that waits takes it in as a repeat.
bool isRepeat(const EventPreview& preview, const QueueFiles& queue, const std::string& key) {
    return preview.throttles &&
           std::ranges::any_of(queue.entries, [&](const QueueEntry& entry) { return isRepeatOf(entry, key); });
}

}  // namespace

EventPreview EventPreview::of(const LogRecord& event, const std::vector<Attribute>& attributes, const QueueFiles& queue,
                              std::int64_t now) {
    OrvCHMesg message(OrvCHMesg::kLogEvent);
    message.extractData(event.record);
    EventPreview preview;
    preview.level = orvLevelName(message.logEvent()->Level);
    const ahead::Timetable table = tableOf(event, attributes, now);
    askTheDaemon(preview, event, table, message.logEvent()->Level);
    if (std::ranges::none_of(preview.profiles, &Profile::matches)) {
        preview.admission.verdict = Verdict::NOT_OFFERED;
        preview.admission.text = "is not offered it";
        return preview;
    }
    if (isRepeat(preview, queue, message.duplicateKey())) {
        preview.admission = {Verdict::REPEAT, "counts it as a repeat of a message that it has; no mail of its own"};
    } else if (!queue.entries.empty()) {
        askBesideTheQueue(preview, table, queue);
    }
    preview.admission.waiting = queue.entries.size();
    return preview;
}
