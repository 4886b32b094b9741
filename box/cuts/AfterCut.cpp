#include "box/cuts/AfterCut.h"

#include "box/Aside.h"
#include "box/Life.h"
#include "host_root.h"
#include "platform/wire/Fields.h"

#include <filesystem>

namespace box {

namespace {

constexpr char kFurtherEvent[] = "one further event";
constexpr char kQueuesDirectory[] = "/ostrel/conf/orv/callHome/queues";
constexpr Time kUntilFurther = 20 * kSecond;
constexpr Time kUntilEnd = 120 * kSecond;

}  // namespace

void AfterCut::step(Life& life) {
    switch (steps_++) {
        case 0:
            began_ = life.began();
            next_ = began_ + kUntilFurther;
            break;
        case 1:
            publishFurther(life);
            next_ = began_ + kUntilEnd;
            break;
        default:
            problem_ = furtherMailed_ ? unnamedLeftover() : "a further event is not mailed";
            next_ = kNever;
            break;
    }
}

void AfterCut::publishFurther(Life& life) const {
    Sw_Log_Type record;
    record.number = 0x00010001;
    record.text = kFurtherEvent;
    static_cast<void>(life.services().happenings().logRecord(record, false));
}

// A file that still stands in a queue is one that cannot be read, and the event log says so.
std::string AfterCut::unnamedLeftover() const {
    const Aside aside;
    const std::string& root = host_root();
    for (const auto& each : std::filesystem::recursive_directory_iterator(root + kQueuesDirectory)) {
        const std::string path = each.path().string().substr(root.size());
        if (each.path().filename().string().starts_with('m') && entries_.find(path + "\n") == std::string::npos) {
            return path + " stays, and no entry names it";
        }
    }
    return "";
}

void AfterCut::mailTaken(Life& /*life*/, const MailServer& /*server*/, const Mail& mail) {
    if (eventIn(mail) == kFurtherEvent) {
        furtherMailed_ = true;
    } else {
        mails_.push_back(mail);
    }
}

void AfterCut::logged(Life& /*life*/, const LogEntry& entry) {
    const std::size_t at = entry.text.find(kQueuesDirectory);
    if (at != std::string::npos) {
        entries_ += entry.text.substr(at, entry.text.find_first_of(" ,", at) - at) + "\n";
    }
}

void AfterCut::fields(auto& io, auto& script) {
    io(script.next_, script.began_, script.steps_);
    io.flag32(script.furtherMailed_);
    io.text32(script.entries_);
    io.text32(script.problem_);
    items(io, script.mails_, FIELDS_OF<Mail>);
}

void AfterCut::encode(FieldWriter& out) const {
    fields(out, *this);
}

void AfterCut::decode(FieldReader& in) {
    fields(in, *this);
}

}  // namespace box
