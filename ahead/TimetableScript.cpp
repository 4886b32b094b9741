#include "ahead/TimetableScript.h"

#include "box/Life.h"
#include "platform/wire/Fields.h"

#include <algorithm>
#include <span>

namespace ahead {

namespace {

constexpr box::Time kMicrosecond = 1000;
// The component that the daemon enters its own as.
constexpr std::string_view kDaemon = "OrvApp";

std::uint64_t microseconds(box::Time time) {
    return time / kMicrosecond;
}

WireBytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

}  // namespace

box::Time TimetableScript::next() const {
    if (over_) {
        return box::kNever;
    }
    return (done_ < table_.steps.size() ? table_.steps[done_].at : table_.end) * kMicrosecond;
}

void TimetableScript::step(box::Life& life) {
    while (done_ < table_.steps.size() && table_.steps[done_].at * kMicrosecond <= life.now()) {
        act(life, table_.steps[done_++]);
    }
    over_ = done_ == table_.steps.size() && life.now() >= table_.end * kMicrosecond;
}

void TimetableScript::act(box::Life& life, const Step& step) {
    using Manner = box::ServerManner;
    const auto reach = [&](std::uint32_t reached) {
        if (step.number < life.servers().size()) {
            life.servers()[step.number].manner.reach = reached;
        }
    };
    switch (step.act) {
        case Act::kPublish:
            if (const auto record = decodeFields<LogRecord>(bytesOf(step.bytes))) {
                static_cast<void>(life.services().happenings().logRecord(record->record, record->timed));
            }
            return;
        case Act::kProbe:
            life.probe();
            return;
        case Act::kGoesDown:
            return reach(Manner::kUnreachable);
        case Act::kRefuses:
            return reach(Manner::kRefusing);
        case Act::kComesUp:
            return reach(Manner::kUp);
    }
}

void TimetableScript::mailTaken(box::Life& life, const box::MailServer& server, const box::Mail& mail) {
    const auto number = static_cast<std::uint32_t>(&server - life.servers().data());
    // The line end before the dot is the text's, as whoever keeps the mail has it.
    outcome_.mails.push_back(
        {microseconds(life.now()), number, mail.from, mail.to, table_.mailTexts ? mail.text + "\r\n" : std::string()});
}

void TimetableScript::logged(box::Life& life, const LogEntry& entry) {
    if (entry.component == kDaemon) {
        outcome_.log.push_back({microseconds(life.now()), entry});
    }
}

void TimetableScript::written(box::Life& life, std::string_view text) {
    if (std::ranges::any_of(table_.listenFor, [&](const std::string& part) { return text.find(part) != text.npos; })) {
        outcome_.traces.push_back({microseconds(life.now()), std::string(text)});
    }
}

void TimetableScript::clientSteps(box::Life& /*life*/, box::ClientStep step, std::string_view what, box::Time at) {
    if (step == box::ClientStep::kConnects) {
        outcome_.tries.push_back({microseconds(at), std::string(what)});
    }
}

void TimetableScript::fields(auto& io, auto& script) {
    io(script.done_);
    io.flag32(script.over_);
    Outcome::fields(io, script.outcome_);
}

void TimetableScript::encode(FieldWriter& out) const {
    fields(out, *this);
}

void TimetableScript::decode(FieldReader& in) {
    outcome_ = Outcome();  // a list is read behind what is there
    fields(in, *this);
}

}  // namespace ahead
