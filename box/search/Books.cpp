#include "box/search/Books.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace box {

namespace {

constexpr std::string_view kQueue = " OrvCHMesgQ ";
constexpr std::string_view kNames[] = {"init", "send", "duplicate", "persist"};

// The first number behind these words; 0 when there is none.
std::uint64_t numberAfter(std::string_view text, std::string_view words) {
    const std::size_t at = text.find(words);
    std::uint64_t number = 0;
    if (at != std::string_view::npos) {
        const std::size_t begin = text.find_first_of("0123456789", at + words.size());
        if (begin != std::string_view::npos) {
            std::from_chars(text.data() + begin, text.data() + text.size(), number);
        }
    }
    return number;
}

bool has(std::string_view text, std::string_view words) {
    return text.find(words) != std::string_view::npos;
}

// Those of the queue's operations that are parts of another one.
bool isPart(std::string_view method) {
    for (const std::string_view part :
         {"addInternal", "removeInternal", "saveEntryToFile", "deleteEntryFile", "updateOrderFile", "orvRestoreFlow"}) {
        if (method == part) {
            return true;
        }
    }
    return false;
}

}  // namespace

void Books::Sums::operator+=(const Sums& other) {
    received += other.received;
    restored += other.restored;
    counted += other.counted;
    refused += other.refused;
    unsettled += other.unsettled;
    for (std::size_t i = 0; i < gone.size(); ++i) {
        gone[i] += other.gone[i];
    }
}

std::string Books::Sums::text() const {
    static constexpr const char* kReasonNames[] = {"mailed",  "gone for space", "for files",         "for age",
                                                   "cleared", "marked",         "parked long enough"};
    std::string text = std::to_string(received) + " received, " + std::to_string(restored) + " restored, " +
                       std::to_string(counted) + " counted, " + std::to_string(refused) + " refused, " +
                       std::to_string(unsettled) + " without memory";
    for (std::size_t i = 0; i < gone.size(); ++i) {
        text += ", " + std::to_string(gone[i]) + " " + kReasonNames[i];
    }
    return text;
}

// A line begins with its date.
void Books::traced(std::string_view line) {
    const std::size_t at = line.find(kQueue);
    if (line.size() < 6 || line[2] != '/' || line[5] != '/' || at == std::string_view::npos) {
        return;
    }
    const std::string_view rest = line.substr(at + kQueue.size());
    const std::size_t colon = rest.find(": ");
    if (colon == std::string_view::npos) {
        return;
    }
    ++heard_;
    const std::string_view method = rest.substr(0, colon);
    const std::string_view text = rest.substr(colon + 2);
    if (!isPart(method)) {
        settleHand();
        why_ = kReasons;
        context_ = method;
    }
    if (method == "add") {
        onAdd(text);
    } else if (method == "addInternal" && has(text, " added to the ")) {
        onAdded(text);
    } else if (method == "removeInternal" && has(text, " removed from the ")) {
        onRemoved(text);
    } else if (method == "saveEntryToFile" && text.starts_with("file=")) {
        onSaved(text);
    } else if (method == "peekOpen" || method == "peekClose" || method == "peekDelete") {
        onPeek(method, text);
    } else if (method == "oneSecondChores") {
        onChores(text);
    } else if (method == "reconstituteMsgFromFile") {
        restoring_ = true;
    } else if (method == "processInitQueue") {
        restoredNow_ = true;
    }
}

// --- A message comes ---

void Books::onAdd(std::string_view text) {
    if (text.starts_with("testMsg = ")) {
        beginAdd(has(text, "testMsg = true"));
    } else if (has(text, "already on duplicate queue")) {
        ++sums_.counted;
        counting_ = static_cast<std::uint32_t>(numberAfter(text, "new value"));
        settleAdd();
    } else if (has(text, "already on send queue")) {
        ++sums_.counted;
        const auto found = savedLast_ ? lists_[kSend].find(*savedLast_) : lists_[kSend].end();
        if (found != lists_[kSend].end()) {
            found->second.marked = markedBefore_;  // it was saved for its repeat
            found->second.pending = static_cast<std::int64_t>(numberAfter(text, "new value"));
        }
        settleAdd();
    } else if (has(text, "unable to add msg") || has(text, "cannot persist") || has(text, "message too big") ||
               has(text, "unable to make room")) {
        ++sums_.refused;
        settleAdd();
    }
}

void Books::beginAdd(bool test) {
    if (adding_) {
        ++sums_.unsettled;
        if (!memoryFailed_) {
            broken("books", "a message was neither taken, nor counted, nor refused");
        }
    }
    sums_.received += drained_ ? 0 : 1;
    drained_ = false;
    restoring_ = false;
    adding_ = test;
}

void Books::settleAdd() {
    if (!adding_) {
        broken("books", "a message is settled that never came");
    }
    adding_.reset();
}

// --- Entries come to the lists and leave them ---

namespace {

bool readNumber(std::string_view& text, std::uint64_t& number) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    text = std::string_view(rest, static_cast<std::size_t>(end - rest));
    return error == std::errc();
}

bool readPair(std::string_view text, std::uint64_t& first, std::uint64_t& second) {
    return readNumber(text, first) && readNumber(text, second);
}

// "entry (N) added to the X queue" and the table behind it; false when it cannot be read.
template <typename Table>
bool readTable(std::string_view text, std::uint32_t& number, std::size_t& list, Table& table) {
    number = static_cast<std::uint32_t>(numberAfter(text, "entry ("));
    const std::size_t the = text.find(" the ");
    list = std::size(kNames);
    for (std::size_t i = 0; i < std::size(kNames) && the != std::string_view::npos; ++i) {
        if (text.substr(the + 5).starts_with(std::string(kNames[i]) + " queue")) {
            list = i;
        }
        const std::size_t row = text.find("\n    " + std::string(kNames[i]) + " ");
        if (row == std::string_view::npos) {
            return false;
        }
        if (!readPair(text.substr(row + 5 + kNames[i].size()), table.counts[i], table.bytes[i])) {
            return false;
        }
    }
    const std::size_t sum = text.find("\n  Total ");
    if (sum == std::string_view::npos || list == std::size(kNames)) {
        return false;
    }
    return readPair(text.substr(sum + 9), table.count, table.total);
}

}  // namespace

void Books::onAdded(std::string_view text) {
    Table table;
    std::uint32_t number = 0;
    std::size_t list = 0;
    if (!readTable(text, number, list, table)) {
        broken("books", "a trace that cannot be read: " + std::string(text.substr(0, 60)));
        return;
    }
    std::uint64_t before = 0;
    for (const auto& [each, entry] : lists_[list]) {
        before += entry.charge;
    }
    for (const Entry& entry : early_) {
        before += list == kInit ? entry.charge : 0;
    }
    Entry entry;
    entry.charge = table.bytes[list] - before;
    if (hand_) {
        if (hand_->charge != entry.charge) {
            broken("bytes", "an entry that moves is charged anew: " + std::to_string(hand_->charge) + " and " +
                                std::to_string(entry.charge));
        }
        entry = *hand_;
        hand_.reset();
    } else if (restoring_) {
        ++sums_.restored;
        entry.restored = true;
        entry.repeats = -1;
    } else if (adding_) {
        entry.test = *adding_;
        adding_.reset();
    } else {
        broken("books", "an entry comes from nowhere");
    }
    restoring_ = false;
    if (list == kInit) {
        early_.push_back(entry);
    } else if (!lists_[list].emplace(number, entry).second) {
        broken("books", "two entries of one number");
    }
    written_.insert({list, number});
    checkTable(table);
}

void Books::onRemoved(std::string_view text) {
    settleHand();
    Table table;
    std::uint32_t number = 0;
    std::size_t list = 0;
    if (!readTable(text, number, list, table)) {
        broken("books", "a trace that cannot be read: " + std::string(text.substr(0, 60)));
        return;
    }
    if (list == kInit) {
        if (early_.empty()) {
            broken("books", "an early message goes that never came");
            return;
        }
        early_.pop_front();
        drained_ = true;
    } else {
        const auto found = lists_[list].find(number);
        if (found == lists_[list].end()) {
            broken("books", "an entry goes that is not there");
            return;
        }
        const Entry entry = found->second;
        lists_[list].erase(found);
        leave(static_cast<List>(list), entry);
    }
    checkTable(table);
}

// What it goes for if it comes to no other list.
void Books::leave(List list, Entry entry) {
    hand_ = entry;
    if (context_ == "makeRoom") {
        why_ = kSpace;
    } else if (context_ == "removeOldest") {
        why_ = kFiles;
    } else if (context_ == "clearQueue") {
        why_ = kCleared;
    } else if (context_ == "flushDuplicateQueue" && list == kDuplicate) {
        why_ = kParkedLongEnough;
        if (entry.repeats > 0) {
            why_ = kReasons;  // has to come to the send list
        }
    } else if (entry.marked && list == kDuplicate && why_ != kParkedLongEnough) {
        why_ = kMarked;  // of what is parked, it goes without a word
    } else if (why_ == kReasons) {
        broken("books", "an entry leaves the " + std::string(kNames[list]) + " list without a reason, in " + context_);
    }
    const bool mayMove = why_ == kMailed || why_ == kParkedLongEnough || why_ == kReasons;
    if (!mayMove) {
        settleHand();
    }
}

// What left a list and came to no other is gone.
void Books::settleHand() {
    if (hand_ && why_ == kReasons) {
        broken("books", "an entry with repeats has left the duplicate list, and came to no other");
    } else if (hand_) {
        ++sums_.gone[why_];
    }
    hand_.reset();
}

void Books::onSaved(std::string_view text) {
    const std::size_t slash = text.rfind("/m");
    savedLast_ = slash == std::string_view::npos
                     ? std::nullopt
                     : std::optional(static_cast<std::uint32_t>(numberAfter(text.substr(slash), "/m")));
    for (std::size_t list = kSend; list < kLists && savedLast_; ++list) {
        if (has(text, "/" + std::string(kNames[list]) + "/m")) {
            written_.insert({list, *savedLast_});
        }
    }
    if (counting_ && savedLast_) {
        const auto found = lists_[kDuplicate].find(*savedLast_);
        if (found == lists_[kDuplicate].end()) {
            broken("books", "a repeat is counted for an entry that is not there");
        } else if (found->second.repeats >= 0 && found->second.repeats + 1 != *counting_) {
            broken("books", "the repeat after the " + std::to_string(found->second.repeats) + "th makes " +
                                std::to_string(*counting_));
        } else {
            found->second.repeats = *counting_;
        }
    }
    counting_.reset();
    // An open entry is saved for a repeat, which is told next, or because it is marked.
    if (savedLast_ && savedLast_ == open_ && text.find("/send/m") != std::string_view::npos) {
        Entry& entry = lists_[kSend][*savedLast_];
        markedBefore_ = entry.marked;
        entry.marked = true;
    } else {
        markedBefore_ = false;
    }
}

// --- Mailing ---

void Books::onPeek(std::string_view method, std::string_view text) {
    const auto number = static_cast<std::uint32_t>(numberAfter(text, "entry ("));
    if (method == "peekOpen" && has(text, "opened in the send queue")) {
        if (open_) {
            broken("books", "two entries are open");
        }
        open_ = number;
        offered_.clear();
        answered_.clear();
        misheard_ = false;
    } else if (method == "peekClose" && has(text, "has not completed processing")) {
        why_ = has(text, "remove from the send queue") ? kMarked : kReasons;
        open_.reset();
    } else if (method == "peekDelete" && has(text, "has completed processing")) {
        if (open_ != number) {
            broken("books", "an entry has been mailed that was not open");
        }
        onCompleted(text);
        open_.reset();
    }
}

void Books::onCompleted(std::string_view text) {
    settleRecipients();
    why_ = kMailed;
    const auto found = open_ ? lists_[kSend].find(*open_) : lists_[kSend].end();
    if (found == lists_[kSend].end()) {
        return;
    }
    Entry& entry = found->second;
    const bool parks = has(text, "DuplicateCount = ");
    const bool stays = has(text, "leave it on the send queue");
    if (parks || stays) {
        const std::uint64_t told = numberAfter(text, parks ? "DuplicateCount = " : "there are ");
        if (entry.pending != static_cast<std::int64_t>(told)) {
            broken("books",
                   std::to_string(entry.pending) + " repeats were counted, " + std::to_string(told) + " are told");
        }
        entry.repeats = static_cast<std::int64_t>(told);
        entry.pending = 0;
    }
    if (stays) {
        ++sums_.gone[kMailed];
        ++sums_.restored;  // for its repeats it goes through the queue once more
    }
}

void Books::mailed(std::uint32_t repeats) {
    const auto found = open_ ? lists_[kSend].find(*open_) : lists_[kSend].end();
    if (found != lists_[kSend].end() && found->second.repeats >= 0 && found->second.repeats != repeats) {
        broken("books", "a mail tells of " + std::to_string(repeats) + " repeats, of which " +
                            std::to_string(found->second.repeats) + " were counted");
    }
}

// The event log may be told in the same turn and have it only after the entry is done.
void Books::settleRecipients() {
    if (misheard_) {
        return;
    }
    for (const std::string& recipient : offered_) {
        if (!answered_.contains(recipient)) {
            unnamed_.insert(recipient);
        }
    }
}

void Books::namedInLog(const std::string& recipient) {
    answered_.insert(recipient);
    unnamed_.erase(recipient);
}

void Books::timeMoves() {
    for (const std::string& recipient : std::exchange(unnamed_, {})) {
        if (!memoryFailed_) {
            broken("recipients", recipient + " neither has the mail nor is named in the event log");
        }
    }
}

void Books::onChores(std::string_view text) {
    if (has(text, "discard msg marked")) {
        why_ = kMarked;
    } else if (has(text, "discarded old msg")) {
        why_ = kTime;
    } else if (has(text, "to reduce file system usage") && text.starts_with("discarded")) {
        why_ = kSpace;
    } else if (has(text, "to reduce file count") && text.starts_with("discarded")) {
        why_ = kFiles;
    } else if (has(text, "throttleDuplicatesPeriod expired") || has(text, "for re-posting")) {
        why_ = kParkedLongEnough;
    }
}

// --- The daemon's own sums ---

void Books::checkTable(const Table& table) {
    std::uint64_t count = early_.size();
    std::uint64_t total = 0;
    for (std::size_t list = 0; list < kLists; ++list) {
        std::uint64_t bytes = 0;
        for (const auto& [number, entry] : lists_[list]) {
            bytes += entry.charge;
        }
        for (const Entry& entry : early_) {
            bytes += list == kInit ? entry.charge : 0;
        }
        const std::size_t known = list == kInit ? early_.size() : lists_[list].size();
        count += list == kInit ? 0 : known;
        total += bytes;
        if (known != table.counts[list]) {
            broken("books", std::to_string(known) + " entries are on the " + std::string(kNames[list]) +
                                " list, counted are " + std::to_string(table.counts[list]));
        }
        if (bytes != table.bytes[list]) {
            broken("bytes", "the entries of the " + std::string(kNames[list]) + " list are charged with " +
                                std::to_string(bytes) + ", counted are " + std::to_string(table.bytes[list]));
        }
    }
    if (total != table.total || count != table.count) {
        broken("bytes", "the lists' sums are not the queue's");
    }
    const std::uint64_t in = sums_.received + sums_.restored;
    const std::uint64_t out = std::accumulate(sums_.gone.begin(), sums_.gone.end(), std::uint64_t{0}) + sums_.counted +
                              sums_.refused + sums_.unsettled;
    if (in != out + count + (hand_ ? 1u : 0u) + (adding_ ? 1u : 0u) + (drained_ ? 1u : 0u)) {
        broken("books", std::to_string(in) + " came, " + std::to_string(out) + " went, and " + std::to_string(count) +
                            " are there");
    }
}

bool Books::atRest() const {
    return early_.empty() && !hand_ && std::ranges::all_of(lists_, [](const auto& list) { return list.empty(); });
}

std::size_t Books::waiting() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(lists_[kSend], [](const auto& each) { return !each.second.test; }));
}

std::vector<Books::Charged> Books::takeWritten() {
    std::vector<Charged> charged;
    for (const auto& [list, number] : std::exchange(written_, {})) {
        const auto found = lists_[list].find(number);
        if (list != kInit && found != lists_[list].end() && !found->second.test) {
            charged.push_back({std::string(kNames[list]) + "/m" + std::to_string(number), found->second.charge,
                               found->second.restored});
        }
    }
    return charged;
}

void Books::broken(const char* rule, const std::string& how) {
    problems_.push_back({rule, how});
}

}  // namespace box
