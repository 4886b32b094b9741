#include "switchctl/ahead/CapturePreview.h"

#include "base/OrvPaths.h"
#include "host_root.h"
#include "switchctl/ahead/ProbedProfile.h"
#include "switchctl/ahead/RunAhead.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/PlainFile.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"

#include <algorithm>
#include <ctime>

namespace {

using ahead::Act;

constexpr std::uint64_t PROBE_AT = 5 * ahead::kSecond;
constexpr std::int64_t WEEK = std::int64_t{7} * 86400;
// The daemon looks at its schedule once a minute, and at the first look computes it afresh.
constexpr std::int64_t BEFORE_RUN = 90;
constexpr std::int64_t AFTER_RUN = 240;
constexpr std::size_t LARGEST_LOG = 8 << 20;

ahead::Timetable tableOf(const std::vector<Attribute>& attributes, std::int64_t begin) {
    ahead::Timetable table;
    table.begin = begin;
    table.attributes = attributes;
    return table;
}

ProbedProfile probed(const std::string& name, const std::vector<Attribute>& attributes, std::int64_t now) {
    ahead::Timetable table = tableOf(attributes, now);
    table.steps = {{PROBE_AT, Act::kProbe, 0, ""}};
    table.end = PROBE_AT + ahead::kSecond;
    table.listenFor = {std::string(DaemonWords::PROFILE.text)};
    const auto profiles = ProbedProfile::allAt(RunAhead::play(table).traces, PROBE_AT);
    const auto found = std::ranges::find(profiles, name, &ProbedProfile::name);
    if (found == profiles.end()) {
        throw Refused("there is no profile " + name + "; switchctl profile list shows those there are");
    }
    return *found;
}

// Of a date as the daemon traces it; 0 when it is none.
std::int64_t secondsOf(const std::string& date) {
    std::tm local{};
    const char* const rest = strptime(date.c_str(), "%a, %d  %b  %Y  %H:%M:%S  %z", &local);
    if (rest == nullptr || *rest != '\0') {
        return 0;
    }
    const std::int64_t offset = local.tm_gmtoff;
    return std::int64_t{timegm(&local)} - offset;
}

CapturePreview::Run runAt(std::int64_t seconds, const std::string& timeOfDay) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    localtime_r(&time, &local);
    char text[64] = "";
    char clock[16] = "";
    std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M:%S %Z", &local);
    std::strftime(clock, sizeof clock, "%H:%M", &local);
    return {seconds, text, clock != timeOfDay};
}

// What it collects, as it stands now.
std::vector<ahead::FlashFile> logFiles() {
    std::vector<std::string> names = {"logfile", "messages"};
    for (int number = 1; number <= 9; ++number) {
        names.push_back("logfile." + std::to_string(number));
        names.push_back("messages." + std::to_string(number));
    }
    std::vector<ahead::FlashFile> files;
    for (const std::string& name : names) {
        PlainFile file;
        const std::string path = kOrvConfDirectory + name;
        if (PlainFile::read(orvHostPath(path), LARGEST_LOG, file) == 0) {
            files.push_back({path, std::move(file.bytes)});
        }
    }
    return files;
}

std::vector<QueueMail> mailsOf(const std::string& profile, const std::vector<Attribute>& attributes, std::int64_t run) {
    ahead::Timetable table = tableOf(attributes, run - BEFORE_RUN);
    table.end = static_cast<std::uint64_t>(BEFORE_RUN + AFTER_RUN) * ahead::kSecond;
    table.files = logFiles();
    std::vector<QueueMail> mails;
    for (const ahead::TakenMail& mail : RunAhead::play(table).mails) {
        if (mail.text.find("\r\nSubject: [CallHome-CronCapture: " + profile + "] ") != std::string::npos) {
            mails.push_back({"preview", profile, mail.from, mail.to, mail.text});
        }
    }
    return mails;
}

}  // namespace

CapturePreview CapturePreview::of(const std::string& profile, const std::vector<Attribute>& attributes,
                                  std::int64_t now) {
    ProbedProfile known = probed(profile, attributes, now);
    CapturePreview preview;
    preview.day = known.values[DaemonWords::CAPTURE_DAY];
    preview.time = known.values[DaemonWords::CAPTURE_TIME];
    preview.weeks = known.values[DaemonWords::CAPTURE_WEEKS];
    const std::int64_t first = secondsOf(known.values[DaemonWords::CAPTURE_NEXT]);
    if (first < now || known.values[DaemonWords::CAPTURE_ENABLED] != "1") {
        throw Refused("the profile " + profile + " has no capture");
    }
    const std::int64_t weeks = Text::number(preview.weeks, 1, 1000).value_or(1);
    for (std::int64_t number = 0; number < DATES; ++number) {
        preview.runs.push_back(runAt(first + number * weeks * WEEK, preview.time));
    }
    preview.mails = mailsOf(profile, attributes, first);
    return preview;
}
