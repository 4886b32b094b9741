#include "switchctl/log/LogDigest.h"

#include "MessageCodes.h"
#include "base/OrvPaths.h"
#include "switchctl/client/Management.h"
#include "switchctl/log/LogFilter.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

enum class LogDigest::Meaning {
    FAILURE,
    RETRY,
    RECOVERY,
    RETRY_ENDED,
    RECIPIENT_GIVEN_UP,
    MAIL_GIVEN_UP,
    NOT_QUEUED,
    EMPTY_FILE,  // not there, or made and never filled: no message was in it
    UNRESTORED,  // a message whose file stays, so that every start tells it again
    SETTINGS_READ,
};

namespace {

using Trouble = LogDigest::Trouble;

using Meaning = LogDigest::Meaning;

struct KindMeaning {
    OrvLogKind kind;
    Meaning meaning;
};

constexpr KindMeaning MEANINGS[] = {
    {orv_log::kQueueEmpty, Meaning::RETRY_ENDED},
    {orv_log::kRetryLater, Meaning::RETRY},
    {orv_log::kNoUsableServer, Meaning::RETRY_ENDED},
    {orv_log::kSendFailed, Meaning::FAILURE},
    {orv_log::kRecovered, Meaning::RECOVERY},
    {orv_log::kRecipientRefused, Meaning::FAILURE},
    {orv_log::kNoRecipientAccepted, Meaning::MAIL_GIVEN_UP},
    {orv_log::kRecipientRetry, Meaning::FAILURE},
    {orv_log::kRecipientRetryFailed, Meaning::RECIPIENT_GIVEN_UP},
    {orv_log::kRecipientGivenUp, Meaning::RECIPIENT_GIVEN_UP},
    {orv_log::kNotAdded, Meaning::NOT_QUEUED},
    {orv_log::kMessageTooLarge, Meaning::NOT_QUEUED},
    {orv_log::kNoSpace, Meaning::NOT_QUEUED},
    {orv_log::kTooManyFiles, Meaning::NOT_QUEUED},
    {orv_log::kTestNotPersistent, Meaning::NOT_QUEUED},
    {orv_log::kFileEmpty, Meaning::EMPTY_FILE},
    {orv_log::kRestoreEntryFailed, Meaning::UNRESTORED},
    {orv_log::kRestoreEntryUnopened, Meaning::UNRESTORED},
    {orv_log::kRestoreNotAdded, Meaning::UNRESTORED},
    {orv_log::kRestoreBadName, Meaning::UNRESTORED},
    {orv_log::kBuildDetailRequest, Meaning::SETTINGS_READ},
};

using Entry = OrvCatalogueMatch;

// Where the directory of a queue is listed when it is restored.
bool isListing(const Entry& entry) {
    return entry.argument(0).starts_with(kOrvQueueListing);
}

template <EventId EVENT>
bool isEvent(const Entry& entry) {
    return entry.argument(0) == std::to_string(EVENT.category) && entry.argument(1) == std::to_string(EVENT.number);
}

// What the system said when a mail could not be sent; what the server says stands behind it.
constexpr std::size_t SENDING_WHY = 3;

bool sendingLacksDescriptors(const Entry& entry) {
    return entry.argument(SENDING_WHY) == std::strerror(EMFILE) || entry.argument(SENDING_WHY) == std::strerror(ENFILE);
}

bool sendingLacksMemory(const Entry& entry) {
    return entry.argument(SENDING_WHY) == std::strerror(ENOMEM) || entry.argument(SENDING_WHY) == "std::bad_alloc";
}

bool listingLacksDescriptors(const Entry& entry) {
    return entry.argument(1) == std::strerror(EMFILE);
}

struct KindTrouble {
    OrvLogKind kind;
    Trouble trouble;
    bool (*applies)(const Entry&) = [](const Entry&) { return true; };
};

constexpr KindTrouble TROUBLES[] = {
    {orv_log::kReadyFailed, Trouble::READY_UNSENT},
    {orv_log::kAckFailed, Trouble::CONFIGURED_UNSENT},
    {orv_log::kSendThreadNotStarted, Trouble::NO_SEND_THREAD},
    {orv_log::kCaptureThreadNotStarted, Trouble::NO_CAPTURE_THREAD},
    {orv_log::kConsumerNotAdded, Trouble::NO_LOG_EVENTS, isEvent<SwitchEvent::LOG_RECORD>},
    {orv_log::kConsumerNotAdded, Trouble::NO_STATE_EVENTS, isEvent<SwitchEvent::STATE>},
    {orv_log::kConsumerNotAdded, Trouble::NO_ADDRESS_EVENTS, isEvent<SwitchEvent::INTERFACE_CHANGE>},
    {orv_log::kConsumerNotAdded, Trouble::NO_HOSTNAME_EVENTS, isEvent<SwitchEvent::HOSTNAME>},
    {orv_log::kNoMemory, Trouble::OUT_OF_MEMORY},
    {orv_log::kNoEntryMemory, Trouble::OUT_OF_MEMORY},
    {orv_log::kNoOrderMemory, Trouble::OUT_OF_MEMORY},
    {orv_log::kRestoreNoMemory, Trouble::OUT_OF_MEMORY},
    {orv_log::kSendFailed, Trouble::OUT_OF_MEMORY, sendingLacksMemory},
    {orv_log::kSendFailed, Trouble::OUT_OF_DESCRIPTORS, sendingLacksDescriptors},
    {orv_log::kRestoreOpendirFailed, Trouble::OUT_OF_DESCRIPTORS, listingLacksDescriptors},
    {orv_log::kRestoreQueueFailed, Trouble::QUEUE_NOT_RESTORED},
    {orv_log::kRestoreNoListing, Trouble::QUEUE_NOT_RESTORED, isListing},
    {orv_log::kRestoreOrderUnopened, Trouble::QUEUE_NOT_RESTORED, isListing},
    {orv_log::kMessageTooLarge, Trouble::MESSAGE_REFUSED},
    {orv_log::kNoSpace, Trouble::MESSAGE_REFUSED},
    {orv_log::kTooManyFiles, Trouble::MESSAGE_REFUSED},
    {orv_log::kTooManyFiles, Trouble::FILE_LIMIT_REACHED},
    {orv_log::kEntryUnopened, Trouble::FILE_UNWRITTEN},
    {orv_log::kFileUnclosed, Trouble::FILE_UNWRITTEN},
    {orv_log::kEntryUndeleted, Trouble::FILE_UNWRITTEN},
    {orv_log::kOrderUnopened, Trouble::FILE_UNWRITTEN},
    {orv_log::kOrderUnwritten, Trouble::FILE_UNWRITTEN},
    {orv_log::kProfilesStatus, Trouble::READ_HALTED},
    {orv_log::kMarkerStatus, Trouble::READ_HALTED},
    {orv_log::kMarkerUnsent, Trouble::READ_HALTED},
    {orv_log::kInitialConfigUnread, Trouble::READ_HALTED},
    {orv_log::kEmailConfigUnread, Trouble::READ_HALTED},
    {orv_log::kCaptureTypesUnread, Trouble::READ_HALTED},
    {orv_log::kCaptureFailed, Trouble::CAPTURE_FAILED},
};

// An entry with a number of its own counts whatever its words are, see orvRecognise().
LogSelection::Kind kindOf(const OrvLogKind& kind, const char* argument = "") {
    const bool numbered = kind.id != kOrvLogId && kind.id != 0;
    const std::string_view text = kind.text;
    return {kind.id, numbered ? "" : std::string(text.substr(0, text.find('%'))) + argument};
}

}  // namespace

// As the daemon reads it.
std::uint64_t LogDigest::timeScale() {
    const char* text = std::getenv("HSB_TIME_SCALE");
    constexpr unsigned long long LARGEST = 1000;
    if (text == nullptr || *text == '\0' ||
        std::string_view(text).find_first_not_of("0123456789") != std::string::npos) {
        return 1;
    }
    return std::clamp<unsigned long long>(std::strtoull(text, nullptr, 10), 1, LARGEST);
}

const LogSelection& LogDigest::selection() {
    static const LogSelection selection = [] {
        LogSelection all;
        all.maxLevel = MAX_LEVEL;
        all.component = Management::DAEMON;
        for (const KindMeaning& one : MEANINGS) {
            all.kinds.push_back(
                kindOf(one.kind, one.meaning == Meaning::SETTINGS_READ ? MailFailures::SERVERS_KEY : ""));
        }
        for (const KindTrouble& one : TROUBLES) {
            all.kinds.push_back(kindOf(one.kind));
        }
        std::ranges::sort(all.kinds, {},
                          [](const LogSelection::Kind& kind) { return std::tie(kind.number, kind.start); });
        all.kinds.erase(std::unique(all.kinds.begin(), all.kinds.end()), all.kinds.end());
        return all;
    }();
    return selection;
}

// Only what the catalogue has means anything.
class LogDigest::Saying {
public:
    explicit Saying(const LogEntry& entry);

    std::uint32_t number;
    std::string text;
    std::optional<OrvCatalogueMatch> match;
    std::vector<Trouble> troubles;
    std::optional<Meaning> meaning;
    MailFailures::Saying mail;
    std::string file;                   // that it is about, where it means one
    bool settings = false;              // They are being read.
    std::optional<std::int64_t> delay;  // seconds to the next try

private:
    void lookForMeaning();
};

LogDigest::Saying::Saying(const LogEntry& entry)
    : number(entry.number),
      text(entry.text),
      match(Management::isDaemon(entry.component) ? orvRecognise(entry.level, entry.number, entry.text)
                                                  : std::nullopt) {
    if (!match) {
        return;
    }
    for (const KindTrouble& one : TROUBLES) {
        if (match->is(one.kind) && one.applies(*match)) {
            troubles.push_back(one.trouble);
        }
    }
    mail = MailFailures::Saying::of(*match);
    lookForMeaning();
}

void LogDigest::Saying::lookForMeaning() {
    const auto* const known =
        std::ranges::find_if(MEANINGS, [&](const KindMeaning& one) { return match->is(one.kind); });
    if (known == std::ranges::end(MEANINGS)) {
        return;
    }
    meaning = known->meaning;
    file = match->argument(0);
    settings = match->argument(0) == MailFailures::SERVERS_KEY;
    delay = meaning == Meaning::RETRY ? Text::number(match->argument(2), 0, INT32_MAX) : std::nullopt;
}

LogDigest LogDigest::read(Session& session, const Count& count) {
    LogDigest digest;
    const std::uint64_t scale = timeScale();
    LogReader reader(session);
    LogSelection wanted = selection();
    for (bool more = true; more;) {
        const LogSeries series = reader.series(wanted);
        digest.takeSeries(series, scale, count);
        wanted.after = series.last;
        more = series.more && !series.entries.empty();
    }
    const auto oldest = reader.first();
    const auto newest = reader.latest();
    digest.firstId = oldest ? oldest->id : 0;
    digest.first = oldest ? microsecondsOf(*oldest) : 0;
    digest.latest = newest ? microsecondsOf(*newest) : 0;
    return digest;
}

void LogDigest::takeSeries(const LogSeries& series, std::uint64_t timeScale, const Count& count) {
    const std::vector<Saying> sayings(series.texts.begin(), series.texts.end());
    std::vector<std::uint64_t> times(sayings.size());
    for (const LogSeries::Entry& entry : series.entries) {
        take(sayings[entry.what], entry.time, timeScale);
        ++times[entry.what];
    }
    for (std::size_t i = 0; count && i < sayings.size(); ++i) {
        if (sayings[i].match) {
            count(*sayings[i].match, times[i]);
        }
    }
}

void LogDigest::take(const LogEntry& entry, std::uint64_t timeScale) {
    latest = microsecondsOf(entry);
    if (firstId == 0) {
        first = latest;
        firstId = entry.id;
    }
    take(Saying(entry), latest, timeScale);
}

void LogDigest::take(const Saying& saying, std::int64_t time, std::uint64_t timeScale) {
    if (!saying.match) {
        return;
    }
    for (const Trouble trouble : saying.troubles) {
        signs.push_back({trouble, time});
        lastText[trouble] = saying.text;
    }
    mail.take(saying.mail, time);
    if (saying.meaning) {
        take(*saying.meaning, saying, time, timeScale);
    } else if (saying.number == kOrvLogId) {
        emptyFile_.clear();
    }
}

void LogDigest::take(Meaning meaning, const Saying& saying, std::int64_t time, std::uint64_t timeScale) {
    const std::string empty = saying.number == kOrvLogId ? std::exchange(emptyFile_, "") : "";
    switch (meaning) {
        case Meaning::RETRY:
            // None, where the delay is none.
            retry = saying.delay
                        ? std::optional(Retry{saying.mail.server.server, time,
                                              time + *saying.delay * SECOND / static_cast<std::int64_t>(timeScale)})
                        : std::nullopt;
            break;
        case Meaning::RECOVERY:
            if (lastFailure) {
                lastFailure->recovered = true;
            }
            retry.reset();
            break;
        case Meaning::RETRY_ENDED:
            retry.reset();
            break;
        case Meaning::SETTINGS_READ:
            // The daemon forgets a retry when it reads its servers anew.
            if (saying.settings) {
                retry.reset();
                settingsRead = time;
            }
            break;
        case Meaning::NOT_QUEUED:
            ++messagesNotQueued;
            refusals.push_back(time);
            break;
        case Meaning::EMPTY_FILE:
            emptyFile_ = saying.file;
            break;
        case Meaning::UNRESTORED:
            takeLostFile(saying.file, time, saying.file == empty);
            break;
        default:
            recipientsGivenUp += meaning == Meaning::RECIPIENT_GIVEN_UP;
            mailsGivenUp += meaning == Meaning::MAIL_GIVEN_UP;
            takeFailure(saying.text, time);
    }
}

// In the room of the one before it: a log can be full of them.
void LogDigest::takeFailure(const std::string& text, std::int64_t time) {
    if (!lastFailure) {
        lastFailure = Failure{};
    }
    lastFailure->time = time;
    lastFailure->text = text;
    lastFailure->recovered = false;
}

// An empty one holds no message. Every start tells of the others again.
void LogDigest::takeLostFile(const std::string& file, std::int64_t time, bool empty) {
    if (!empty) {
        messagesNotQueued += !lostFiles.contains(file);
        lostFiles[file] = time;
    }
}
