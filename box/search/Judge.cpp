#include "box/search/Judge.h"

#include "box/Timeline.h"
#include "box/World.h"
#include "box/search/Attachments.h"
#include "box/search/Causes.h"
#include "box/search/Charges.h"
#include "box/search/QueueFiles.h"
#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"
#include "platform/wire/Fields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace box {

namespace {

constexpr Judge::Rule kRules[] = {
    {"catalogue", "each entry of the daemon's is in its catalogue"},
    {"cause", "an entry that tells of a failure of the machine's comes where there was one"},
    {"known", "each mail is of an event that there was"},
    {"one dialogue", "one dialogue at a time"},
    {"doubles",
     "no mail comes twice, but for one at each end of a life that was no orderly one, and where a reply or a call went "
     "wrong"},
    {"files", "the order file lists what exists, and what exists is listed"},
    {"attachments", "a capture has each file that there is, its mail all its parts, and each attachment is whole"},
    {"received", "an event that the daemon is set up to take comes to its queue as a message"},
    {"answers", "each request of management is answered"},
    {"named", "a request of a wrong length is named in the event log, and only such a one"},
    {"said", "each recipient that a server is told of stands in the traces"},
    {"clock", "each trace bears the time of its moment"},
    {"books", "what came was mailed, counted, refused, or went for a reason that was told, or waits; exactly"},
    {"bytes", "bytes in use are the sum of what the entries are charged with, and that is what their files stand for"},
    {"recipients", "who was offered a mail has it, or is named in the event log"},
    {"delays", "the pauses before retries have their lengths and their order, and are kept"},
    {"restored", "what was left in files is restored by the next start, or named"},
    {"flat", "descriptors, memory and files do not grow"},
    {"main thread", "the main thread waits in its poll only"},
    {"ends", "a life comes to its end when it is told to, and not before"},
    {"leaves", "after the faults have ended nothing waits any more"},
};

// The queue of a life is open by then.
constexpr Time kOpen = 10 * kSecond;

// The number behind "event number "; -1 when there is none.
std::int64_t eventIn(const std::string& text) {
    const std::size_t at = text.find(Judge::kEventText);
    return at == std::string::npos ? -1 : std::strtoll(text.c_str() + at + sizeof Judge::kEventText - 1, nullptr, 10);
}

// A trace begins as "11/14/2023 UTC 22:13:20.000 "; in it, where the time stands.
constexpr std::size_t kTime = 15;
constexpr std::size_t kLength = 12;

bool beginsTrace(std::string_view line) {
    return line.size() >= kTime + kLength && line[2] == '/' && line.substr(10, 5) == " UTC ";
}

// How many repeats a mail tells of.
std::uint32_t repeatsIn(const std::string& text) {
    constexpr std::string_view kLast = "Message is a duplicate: last of ";
    if (text.find("Message is a duplicate") == std::string::npos) {
        return 0;
    }
    const std::size_t at = text.find(kLast);
    return at == std::string::npos
               ? 1
               : static_cast<std::uint32_t>(std::strtoul(text.c_str() + at + kLast.size(), nullptr, 10));
}

}  // namespace

std::span<const Judge::Rule> Judge::rules() {
    return kRules;
}

void Judge::published(std::uint32_t event) {
    events_.resize(std::max<std::size_t>(events_.size(), event + 1));
    Event& known = events_[event];
    known.published = static_cast<std::uint8_t>(std::min(known.published + 1, 255));
    known.done = false;
}

void Judge::expectsMessage(const Facts& facts) {
    before_ = expected_.count() == 0 ? books_.sums().received : before_;
    expected_.add(facts.now);
}

void Judge::asked(const Facts& facts) {
    questions_.add(facts.now);
}

void Judge::askedWrongly(const Facts& facts, bool isFree) {
    ++nameable_;
    if (isFree) {
        wrong_.add(facts.now);
    }
}

void Judge::mailTaken(const Facts& facts, const Mail& mail) {
    if (facts.openDialogues != 1) {
        broken(facts, "one dialogue", std::to_string(facts.openDialogues) + " dialogues at a time");
    }
    end_.mailed();
    const std::int64_t event = eventIn(mail.text);
    // Between the mails of two entries the queue has something to say.
    const bool isSilent = std::exchange(heardAtMail_, books_.heard()) == books_.heard() && event != lastMailed_;
    lastMailed_ = event;
    if (!books_.mails() || isSilent) {
        blind_ = true;
        if (!facts.anythingFailed) {
            broken(facts, "books", "a mail of no entry that is open");
        }
    }
    for (const std::string& recipient : mail.to) {
        books_.served(recipient);
    }
    books_.mailed(repeatsIn(mail.text));
    takeProblems(facts);
    const std::string attachments = attachmentsProblem(mail.text);
    if (!attachments.empty() && facts.failedCalls == 0 && facts.failedAllocations == 0) {
        broken(facts, "attachments", attachments);
    }
    if (event < 0 || std::ranges::find(mail.to, kOperator) == mail.to.end()) {
        return;
    }
    if (static_cast<std::size_t>(event) >= events_.size()) {
        broken(facts, "known", "a mail of an event that there never was");
        return;
    }
    Event& known = events_[static_cast<std::size_t>(event)];
    known.mailed = static_cast<std::uint8_t>(std::min(known.mailed + 1, 255));
    checkDoubles(facts, known);
    end_.mailedTo(static_cast<std::uint32_t>(event));
}

void Judge::logged(const Facts& facts, const LogEntry& entry) {
    const bool isDaemons = (entry.component == "OrvApp" || entry.component.empty()) && entry.flags == kOrvOwnEntryFlags;
    if (!isDaemons) {
        return;
    }
    const auto match = orvFindInCatalogue(entry.level, entry.number, entry.text);
    if (!match) {
        broken(facts, "catalogue", "an entry that is not in the catalogue: " + entry.text);
        return;
    }
    entries_.insert(match->row.name);
    excuses_.logged(*match);
    if (facts.failedCalls == 0 && facts.failedAllocations == 0 && !comesOnSoundMachine(*match)) {
        broken(facts, "cause", "nothing has failed: " + entry.text);
    }
    using namespace orv_log;
    if (match->is(kRecipientRetryFailed) || match->is(kRecipientGivenUp)) {
        books_.namedInLog(match->argument(1));
    } else if (match->is(kRetryLater)) {
        // The trace before it tells whose pause it is.
        blind_ = blind_ || (!std::exchange(announced_, false) && facts.anythingFailed);
        const std::string problem = delays_.announced(
            facts.now, static_cast<std::uint32_t>(std::strtoul(match->argument(2).c_str(), nullptr, 10)));
        if (!problem.empty() && !blind_ && !facts.memoryFailed) {
            broken(facts, "delays", problem);
        }
    } else if (match->is(kQueueEmpty)) {
        if (books_.waiting() > 0 && !blind_ && !facts.anythingFailed) {
            broken(facts, "delays",
                   "the queue is told to be empty while " + std::to_string(books_.waiting()) + " wait in it");
        }
        delays_.beginAnew();
    } else if (match->is(kBadProfileChange) || match->is(kBadTestProfile) || match->is(kBadClearQueue) ||
               match->is(kBadProcessedInfo) || match->is(kBadChangeover) || match->is(kBadQueueInfo)) {
        if (nameable_ == 0 && !facts.anythingFailed) {
            broken(facts, "named", "there was no such request: " + entry.text);
        }
        nameable_ -= nameable_ > 0 ? 1 : 0;
        wrong_.came();
    } else if (match->is(kBuildDetailRequest)) {
        delays_.mayBeginAnew();
    } else if (match->is(kRestoreEntryFailed) || match->is(kRestoreEntryUnopened) || match->is(kRestoreNotAdded)) {
        ++named_;
        unread_ += match->is(kRestoreEntryFailed) ? 1u : 0u;
    }
}

void Judge::begins(const std::string& root) {
    left_ = entriesWithFiles(root);
    captures_ = captureEntries(root);
}

// Several traces may be written together, and one may have several lines.
void Judge::written(const Facts& facts, std::string_view text) {
    while (!text.empty()) {
        std::size_t end = text.find('\n');
        while (end != text.npos && !beginsTrace(text.substr(end + 1))) {
            end = text.find('\n', end + 1);
        }
        const std::size_t length = end == text.npos ? text.size() : end + 1;
        traced(facts, text.substr(0, length));
        text.remove_prefix(length);
    }
}

// An entry's end begins the failures anew.
void Judge::traced(const Facts& facts, std::string_view text) {
    if (facts.memoryFailed) {
        books_.memoryFailed();
    }
    if (std::exchange(troublesHeard_, facts.troubles) != facts.troubles) {
        books_.misheard();
    }
    checkClock(facts, text);
    constexpr std::string_view kSaid = "SMTP Send (incl CRLF) {";
    if (const std::size_t at = text.find(kSaid); at != text.npos) {
        said_ = text.substr(at + kSaid.size());
    }
    checkLeftOut(facts, text);
    books_.traced(text);
    end_.traced(text, facts.troubles);
    if (text.find("has completed processing") != std::string_view::npos) {
        delays_.beginAnew();
    }
    if (text.find("Will retry via SMTP") != text.npos && text.find(", after ") != text.npos) {
        announced_ = true;
        if (text.find(" handleSucceedMesg: ") != text.npos) {
            delays_.putsOff();
        }
    }
    takeProblems(facts);
    restored_ = restored_ || books_.takeRestored();
}

void Judge::clientSteps(const Facts& facts, ClientStep step, std::string_view what) {
    end_.clientSteps(step, what);
    if (step == ClientStep::kSends) {
        clientSends(facts, what);
    } else if (step == ClientStep::kConnects) {
        begun_.clear();
        const std::string problem = delays_.connects(facts.now);
        if (!problem.empty() && !blind_ && !facts.memoryFailed) {
            broken(facts, "delays", problem);
        }
    }
}

// A call that moves less than it should sends a line in pieces.
void Judge::clientSends(const Facts& facts, std::string_view what) {
    constexpr std::string_view kTo = "RCPT TO:<";
    const std::string line = std::exchange(begun_, "").append(what);
    if (line.find('\n') == line.npos && (line.starts_with(kTo) || kTo.starts_with(line))) {
        begun_ = line;
    } else if (line.starts_with(kTo)) {
        books_.offered(line.substr(kTo.size(), line.find('>') - kTo.size()));
        checkSaid(facts, line);
    }
}

void Judge::takeProblems(const Facts& facts) {
    for (const Books::Problem& problem : books_.takeProblems()) {
        if (blind_) {
            continue;
        }
        broken(facts, problem.rule, problem.how);
    }
}

void Judge::checkReceived(const Facts& facts) {
    const std::uint32_t expected = expected_.takeOverdue(facts.now);
    const std::uint64_t received = books_.sums().received - before_;
    if (received < expected && !facts.anythingFailed) {
        broken(facts, "received",
               std::to_string(expected) + " events were published, " + std::to_string(received) +
                   " messages came to the queue");
    }
}

void Judge::checkRequests(const Facts& facts) {
    const std::uint32_t unanswered = questions_.takeOverdue(facts.now);
    if (unanswered > 0 && !facts.anythingFailed) {
        broken(facts, "answers", std::to_string(unanswered) + " requests have no answer");
    }
    const std::uint32_t unnamed = wrong_.takeOverdue(facts.now);
    if (unnamed > 0 && !facts.anythingFailed) {
        broken(facts, "named", std::to_string(unnamed) + " requests of a wrong length are not named");
    }
}

void Judge::checkSaid(const Facts& facts, std::string_view what) {
    if (!said_.starts_with(what) && !blind_ && !facts.anythingFailed) {
        broken(facts, "said", "no trace of " + std::string(what.substr(0, what.find('\r'))));
    }
}

// A capture that is told to end drops what it has not got.
void Judge::checkLeftOut(const Facts& facts, std::string_view line) {
    constexpr std::string_view kCapture = " OrvCHCapture execCapture: ";
    const std::size_t at = line.find(kCapture);
    if (at != line.npos && line.find(" is left out") != line.npos && !facts.anythingFailed && !end_.wasTold()) {
        broken(facts, "attachments", "nothing has failed: " + std::string(line.substr(at + kCapture.size())));
    }
}

void Judge::checkClock(const Facts& facts, std::string_view line) {
    if (!beginsTrace(line)) {
        return;
    }
    const std::uint64_t second = (kFirstSecond + facts.now / kSecond) % 86400;
    char text[64];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u.%03u", static_cast<unsigned>(second / 3600),
                  static_cast<unsigned>(second / 60 % 60), static_cast<unsigned>(second % 60),
                  static_cast<unsigned>(facts.now % kSecond / kMillisecond));
    if (line.substr(kTime, kLength) != text) {
        broken(facts, "clock", std::string(line.substr(0, kTime + kLength)) + " at " + text);
    }
}

// On a sound machine a file that no start can read is a capture's, or one that a kill met in its writing.
void Judge::checkRestored(const Facts& facts) {
    const std::uint64_t restored = books_.sums().restored;
    if ((restored + named_ < left_ || restored > left_) && !facts.anythingFailed) {
        broken(facts, "restored",
               std::to_string(left_) + " entries were left, " + std::to_string(restored) + " restored and " +
                   std::to_string(named_) + " named");
    }
    if (unread_ > kills_ + captures_ && facts.failedCalls == 0 && facts.failedAllocations == 0) {
        broken(facts, "restored",
               std::to_string(unread_) + " entries cannot be read after " + std::to_string(kills_) + " kills");
    }
}

void Judge::checkFlat(const Facts& facts) {
    const bool atRest = books_.begun() && !blind_ && books_.atRest();
    for (const std::string& problem : {Growth::ofDescriptors(facts.descriptors), Growth::ofFiles(facts.files),
                                       atRest ? growth_.ofObjectsAtRest(facts.objects) : ""}) {
        if (!problem.empty()) {
            broken(facts, "flat", problem);
        }
    }
}

Books::Sums Judge::sums() const {
    Books::Sums sums = former_;
    sums += books_.sums();
    return sums;
}

// A start lists directories by a command, which is prescribed; a poll that was interrupted is tried again after a
// millisecond.
void Judge::mainWaits(const Facts& facts, std::string_view call) {
    books_.timeMoves();
    takeProblems(facts);
    if (call != "poll" && call != "waitid" && call != "nanosleep") {
        broken(facts, "main thread", "the main thread waits in " + std::string(call));
    }
}

void Judge::stepped(const Facts& facts) {
    if (facts.now < later(facts.lifeBegan, kOpen)) {
        return;
    }
    excuses_.memoryFailed(facts.memoryFailed);
    if (std::exchange(restored_, false)) {
        checkRestored(facts);
    }
    checkReceived(facts);
    checkRequests(facts);
    checkFlat(facts);
    checkCharges(facts);
    const std::string problem = queueFilesProblem(facts.root, excuses_);
    if (!problem.empty()) {
        broken(facts, "files", problem);
    }
}

// Where calls or memory failed, a file may be as it was before.
void Judge::checkCharges(const Facts& facts) {
    const std::string problem = chargesProblem(facts.root, books_);
    if (!problem.empty() && !blind_ && !facts.anythingFailed) {
        broken(facts, "bytes", problem);
    }
}

// What could not be restored was named, and stays: half a file, say, of a message that found no memory.
void Judge::finished(const Facts& facts) {
    const unsigned waiting = waitingEntries(facts.root);
    if (waiting > named_) {
        broken(facts, "leaves", std::to_string(waiting - named_) + " entries wait for ever");
    }
}

void Judge::ended(const Facts& facts, bool byItself) {
    kills_ += byItself ? 0u : 1u;
    if (byItself && !end_.wasTold() && !facts.anythingFailed) {
        broken(facts, "ends", "the daemon ends, though nobody has told it to");
    }
    if (!byItself || blind_ || facts.anythingFailed || !end_.leavesNothing(facts.now, facts.troubles)) {
        return;
    }
    ++clean_;
    if (const auto event = end_.event()) {
        events_[*event].done = true;
    }
}

// Each end of a life but a clean one, each reply that did not come as it should, and each failure of the machine's may
// have one mail sent once more.
void Judge::checkDoubles(const Facts& facts, Event& event) {
    if (event.mailed > event.published + event.excess) {
        ++event.excess;
        ++doubled_;
        if (event.done) {
            broken(facts, "doubles", "a mail comes twice whose message was done at an orderly end");
        }
    }
    if (doubled_ > facts.lives - 1 - clean_ + facts.troubles + facts.failedCalls + facts.failedAllocations) {
        broken(facts, "doubles", "a mail comes twice");
    }
}

void Judge::broken(const Facts& facts, const char* rule, const std::string& how) {
    const std::string text = std::string(rule) + ": " + how;
    problem_ = problem_.empty() ? timeText(facts.now) + ": " + text : problem_;
    news_.push_back(text);
}

std::vector<std::string> Judge::takeNews() {
    return std::exchange(news_, {});
}

// Of the lives before, for the one that comes.
Books::Sums Judge::handedOn(const Judge& judge) {
    return judge.sums();
}
Books::Sums& Judge::handedOn(Judge& judge) {
    return judge.former_;
}

void Judge::fields(auto& io, auto& judge) {
    auto&& sums = handedOn(judge);
    Books::Sums::fields(io, sums);
    io(judge.doubled_, judge.clean_, judge.kills_);
    io.text32(judge.problem_);
    items(io, judge.events_, [](auto& each, auto& event) {
        each(event.published, event.mailed, event.excess);
        each.flag8(event.done);
    });
    texts(io, judge.entries_);
}

void Judge::encode(FieldWriter& out) const {
    fields(out, *this);
}

void Judge::decode(FieldReader& in) {
    fields(in, *this);
}

}  // namespace box
