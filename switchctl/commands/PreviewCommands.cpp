// preview: what an event or a capture would lead to.
#include "switchctl/ahead/CapturePreview.h"
#include "switchctl/ahead/EventPreview.h"
#include "switchctl/ahead/RunAhead.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/commands/LogEventOptions.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Text.h"

#include <ctime>

namespace {

std::string listed(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + Text::oneLine(text);
    }
    return all;
}

std::string previewLines(const QueueMail& mail) {
    std::string lines = "\nThe mail for the profile " + Text::oneLine(mail.profile) + ", from " +
                        Text::oneLine(mail.sender) + " to " + listed(mail.recipients) + ":\n\n";
    for (std::string line : Text::split(mail.text, '\n')) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        lines += Text::oneLine(line) + "\n";
    }
    return lines;
}

Json previewJson(const QueueMail& mail) {
    return Json()
        .set("profile", mail.profile)
        .set("sender", mail.sender)
        .set("recipients", mail.recipients)
        .set("text", mail.text);
}

const char* verdictWord(EventPreview::Admission::Verdict verdict) {
    static constexpr const char* WORDS[] = {"taken", "repeat", "refused", "not queued", "unknown"};
    return WORDS[static_cast<std::size_t>(verdict)];
}

std::string queueLine(const EventPreview& preview) {
    const EventPreview::Admission& admission = preview.admission;
    std::string line = (admission.text.empty() ? "nobody knows what it does" : admission.text);
    if (admission.discarded > 0) {
        line += "; " + std::to_string(admission.discarded) + " that wait are discarded to make room";
    }
    if (admission.waiting > 0) {
        line += " (it has " + std::to_string(admission.waiting) + " now)";
    }
    return line;
}

std::string repeatLine(const EventPreview& preview) {
    return preview.throttles
               ? "counted, not mailed, within " + std::to_string(preview.repeatSeconds) + " seconds of its mail"
               : "each is mailed";
}

std::string eventLines(const EventPreview& preview) {
    std::vector<std::vector<std::string>> rows = {{"level", preview.level}};
    for (const EventPreview::Profile& profile : preview.profiles) {
        rows.push_back(
            {"profile " + Text::oneLine(profile.name), profile.matches ? "gets a mail" : "none: " + profile.reason});
    }
    if (preview.profiles.empty()) {
        rows.push_back({"profiles", "there are none"});
    }
    rows.push_back({"queue", queueLine(preview)});
    rows.push_back({"repeats", repeatLine(preview)});
    std::string lines = Text::table(rows);
    for (const QueueMail& mail : preview.mails) {
        lines += previewLines(mail);
    }
    return lines;
}

Json eventJson(const EventPreview& preview) {
    Json profiles = Json::array();
    for (const EventPreview::Profile& profile : preview.profiles) {
        profiles.add(Json().set("name", profile.name).set("matches", profile.matches).set("reason", profile.reason));
    }
    Json mails = Json::array();
    for (const QueueMail& mail : preview.mails) {
        mails.add(previewJson(mail));
    }
    return Json()
        .set("level", preview.level)
        .set("profiles", profiles)
        .set("queue", Json()
                          .set("verdict", verdictWord(preview.admission.verdict))
                          .set("text", preview.admission.text)
                          .set("discarded", preview.admission.discarded)
                          .set("waiting", preview.admission.waiting))
        .set("repeatSeconds", preview.repeatSeconds)
        .set("mails", mails);
}

void event(Session& session, const LogEventArguments& arguments) {
    const LogRecord record = logRecordFrom(arguments);
    const EventPreview preview =
        EventPreview::of(record, RunAhead::attributes(session), QueueFiles::read(), std::time(nullptr));
    session.print(eventJson(preview), eventLines(preview));
}

std::string captureLines(const CapturePreview& preview) {
    std::vector<std::vector<std::string>> rows = {
        {"capture", preview.day + " " + preview.time + ", every " + preview.weeks + " weeks"}};
    for (const CapturePreview::Run& run : preview.runs) {
        const char* const off = run.offTime ? ", the clock has changed: until profiles are read again" : "";
        rows.push_back({"run", run.local + off});
    }
    std::string lines = Text::table(rows);
    for (const QueueMail& mail : preview.mails) {
        lines += previewLines(mail);
    }
    return lines;
}

Json captureJson(const CapturePreview& preview) {
    Json runs = Json::array();
    for (const CapturePreview::Run& run : preview.runs) {
        runs.add(Json()
                     .set("time", jsonTime(Text::timestamp(run.at, 0)))
                     .set("local", run.local)
                     .set("offTime", run.offTime));
    }
    Json mails = Json::array();
    for (const QueueMail& mail : preview.mails) {
        mails.add(previewJson(mail));
    }
    Json object;
    object.set("day", preview.day)
        .set("timeOfDay", preview.time)
        .setNull("weeks")
        .set("runs", runs)
        .set("mails", mails);
    if (const auto weeks = Text::number(preview.weeks, 0, INT32_MAX)) {
        object.set("weeks", *weeks);
    }
    return object;
}

void capture(Session& session, const std::string& profile) {
    const CapturePreview preview = CapturePreview::of(profile, RunAhead::attributes(session), std::time(nullptr));
    session.print(captureJson(preview), captureLines(preview));
}

}  // namespace

void addPreviewCommands(CommandTree& tree) {
    const CommandTree::Group preview = tree.group("preview", "Tell what an event or a capture would lead to");
    auto [command, arguments] = tree.command(preview, "event", command_text::kPreviewEvent, event);
    takeLogEvent(command, arguments);
    tree.command(preview, "capture", command_text::kPreviewCapture, capture, {"NAME", "", "The profile", true});
}
