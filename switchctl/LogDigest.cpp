#include "switchctl/LogDigest.h"

#include "switchctl/Management.h"
#include "switchctl/Text.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

constexpr std::int64_t SECOND = 1000000;
// Of every entry that has no number of its own.
constexpr std::uint32_t UNNUMBERED = 0x8b000001;
constexpr std::uint32_t SEND_FAILURE = 0x8b000013;

enum class Meaning { FAILURE, RETRY, RECOVERY, RETRY_ENDED, RECIPIENT_GIVEN_UP, MAIL_GIVEN_UP };

struct NumberMeaning {
    std::uint32_t number;
    Meaning meaning;
};

constexpr NumberMeaning MEANINGS[] = {
    {0x8b00000e, Meaning::RETRY_ENDED},        {0x8b00000f, Meaning::RETRY},
    {0x8b000011, Meaning::RETRY_ENDED},        {SEND_FAILURE, Meaning::FAILURE},
    {0x8b000014, Meaning::RECOVERY},           {0x8b000015, Meaning::FAILURE},
    {0x8b000016, Meaning::MAIL_GIVEN_UP},      {0x8b000017, Meaning::FAILURE},
    {0x8b000018, Meaning::RECIPIENT_GIVEN_UP}, {0x8b000019, Meaning::RECIPIENT_GIVEN_UP},
};

// Texts without a number of their own that tell of a message which the queue has refused.
constexpr std::array<std::string_view, 5> REFUSALS = {
    "Unable to add message",
    "Message is too large",
    "Unable to make room for message (filesystem quota limit)",
    "Unable to make room for message (file limit)",
    "Unable to persist a test message",
};

// What stands around a file's name.
struct FileText {
    std::string_view before;
    std::string_view after;
};

// A file that holds nothing: one that is not there, or that was made and never filled. No message was in it.
constexpr FileText EMPTY_FILE = {"File ", " is empty, ignoring"};
// Of a message that is not restored. Its file stays, so every start tells it again.
constexpr FileText UNRESTORED[] = {
    {"Error restoring message from ", ", ignoring"},
    {"Error opening ", " for reading, ignoring"},
    {"Unable to add message from file ", " to queue"},
    {"Invalid file name ", ", skipping"},
};

// Nothing when the text is another one.
std::optional<std::string> fileIn(std::string_view text, const FileText& around) {
    if (text.size() < around.before.size() + around.after.size() || !text.starts_with(around.before) ||
        !text.ends_with(around.after)) {
        return std::nullopt;
    }
    text.remove_prefix(around.before.size());
    text.remove_suffix(around.after.size());
    return std::string(text);
}

struct TroubleText {
    std::string_view beginning;
    std::string_view end;
    LogDigest::Trouble trouble;
};

using Trouble = LogDigest::Trouble;

constexpr TroubleText TROUBLES[] = {
    {"Error returned from ready_for_conf()", "", Trouble::READY_UNSENT},
    {"Error from conf_read_ack()", "", Trouble::CONFIGURED_UNSENT},
    {"orvApp failed to launch sending thread", "", Trouble::NO_SEND_THREAD},
    {"orvApp failed to launch capture thread", "", Trouble::NO_CAPTURE_THREAD},
    {"OrvApp: Error subscribing for consumer event category 1 event 0", "", Trouble::NO_LOG_EVENTS},
    {"OrvApp: Error subscribing for consumer event category 66 event 3", "", Trouble::NO_STATE_EVENTS},
    {"OrvApp: Error subscribing for consumer event category 2 event 56", "", Trouble::NO_ADDRESS_EVENTS},
    {"OrvApp: Error subscribing for consumer event category 90 event 0", "", Trouble::NO_HOSTNAME_EVENTS},
    {"Unable to allocate memory", "", Trouble::OUT_OF_MEMORY},
    {"Error restoring messages from ", ", ignoring", Trouble::QUEUE_NOT_RESTORED},
    {"Unable to create file /tmp/orv-queue-order", "", Trouble::QUEUE_NOT_RESTORED},
    {"Unable to open file /tmp/orv-queue-order", "", Trouble::QUEUE_NOT_RESTORED},
    {"opendir(", ": Too many open files\n", Trouble::OUT_OF_DESCRIPTORS},
};

// The daemon's alarm that memory has run out; a second one without a number follows it.
constexpr std::uint32_t MEMORY_ALARM = 0x10050034;

// What the system said when a mail could not be sent. It stands before what the server said.
std::string_view descriptionIn(std::string_view text) {
    constexpr std::string_view LABEL = ", Description=[";
    const std::size_t start = text.find(LABEL);
    if (start == std::string_view::npos) {
        return "";
    }
    text.remove_prefix(start + LABEL.size());
    return text.substr(0, text.find("], Response=["));
}

std::optional<Trouble> troubleIn(const LogEntry& entry) {
    if (entry.number == MEMORY_ALARM) {
        return Trouble::OUT_OF_MEMORY;
    }
    if (entry.number == SEND_FAILURE) {
        const std::string_view why = descriptionIn(entry.text);
        return why == "Too many open files" || why == "Too many open files in system"
                   ? std::optional(Trouble::OUT_OF_DESCRIPTORS)
               : why == "Cannot allocate memory" || why == "std::bad_alloc" ? std::optional(Trouble::OUT_OF_MEMORY)
                                                                            : std::nullopt;
    }
    // Alarms have the number 0.
    const bool unnumbered = entry.number == UNNUMBERED || entry.number == 0;
    const auto* const known = std::ranges::find_if(TROUBLES, [&](const TroubleText& one) {
        return entry.text.starts_with(one.beginning) && entry.text.ends_with(one.end);
    });
    return unnumbered && known != std::ranges::end(TROUBLES) ? std::optional(known->trouble) : std::nullopt;
}

// "Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds". Whatever characters the server's name has,
// it ends where the rest begins. Nothing when the text is another one.
std::optional<LogDigest::Retry> retryIn(const LogEntry& entry, std::uint64_t timeScale) {
    constexpr std::string_view SERVER = "Will retry sending via SMTP server=";
    constexpr std::string_view PORT = ", port=";
    constexpr std::string_view DELAY = ", after ";
    constexpr std::string_view END = " seconds";
    const std::string& text = entry.text;
    const std::size_t port = text.rfind(PORT);
    const std::size_t delay = text.rfind(DELAY);
    if (!text.starts_with(SERVER) || !text.ends_with(END) || port == std::string::npos || delay == std::string::npos ||
        port < SERVER.size() || delay < port) {
        return std::nullopt;
    }
    const auto between = [&](std::size_t start, std::size_t end) { return text.substr(start, end - start); };
    const std::string address = between(SERVER.size(), port);
    const auto seconds = Text::number(between(delay + DELAY.size(), text.size() - END.size()), 0, INT32_MAX);
    if (!seconds) {
        return std::nullopt;
    }
    const bool isIPv6 = address.find(':') != std::string::npos;
    const std::string server = (isIPv6 ? "[" + address + "]" : address) + ":" + between(port + PORT.size(), delay);
    const std::int64_t now = entry.seconds * SECOND + entry.microseconds;
    return LogDigest::Retry{server, now, now + *seconds * SECOND / static_cast<std::int64_t>(timeScale)};
}

// As the daemon reads it.
std::uint64_t timeScaleOfSwitch() {
    const char* text = std::getenv("HSB_TIME_SCALE");
    constexpr unsigned long long LARGEST = 1000;
    if (text == nullptr || *text == '\0' ||
        std::string_view(text).find_first_not_of("0123456789") != std::string::npos) {
        return 1;
    }
    return std::clamp<unsigned long long>(std::strtoull(text, nullptr, 10), 1, LARGEST);
}

}  // namespace

LogDigest LogDigest::read(Session& session) {
    LogDigest digest;
    const std::uint64_t timeScale = timeScaleOfSwitch();
    LogRequest request{0, 0, MAX_LEVEL};
    for (bool more = true; more;) {
        const WireBytes body = session.client.call(OperatorCode::READ_LOG, request.encode());
        const auto page = OperatorClient::decode<LogPage>(body);
        for (const LogEntry& entry : page.entries) {
            request.since = entry.id;
            digest.take(entry, timeScale);
        }
        more = page.more && !page.entries.empty();
    }
    return digest;
}

void LogDigest::take(const LogEntry& entry, std::uint64_t timeScale) {
    if (strcasecmp(entry.component.c_str(), Management::DAEMON) != 0) {
        return;
    }
    takeSigns(entry);
    if (entry.number == UNNUMBERED) {
        takeUnnumbered(entry.text);
    }
    const auto* const known = std::ranges::find(MEANINGS, entry.number, &NumberMeaning::number);
    if (known == std::ranges::end(MEANINGS)) {
        return;
    }
    const Meaning meaning = known->meaning;
    recipientsGivenUp += meaning == Meaning::RECIPIENT_GIVEN_UP;
    mailsGivenUp += meaning == Meaning::MAIL_GIVEN_UP;
    if (meaning == Meaning::RETRY) {
        retry = retryIn(entry, timeScale);
    } else if (meaning == Meaning::RECOVERY || meaning == Meaning::RETRY_ENDED) {
        retry.reset();
        if (lastFailure) {
            lastFailure->recovered = lastFailure->recovered || meaning == Meaning::RECOVERY;
        }
    } else {
        lastFailure = Failure{Text::timestamp(entry.seconds, entry.microseconds), entry.text};
    }
}

void LogDigest::takeUnnumbered(const std::string& text) {
    if (auto empty = fileIn(text, EMPTY_FILE)) {
        emptyFile_ = std::move(*empty);
        return;
    }
    // The daemon forgets a retry when it reads its servers anew.
    if (text == "build request for Global.Callhome.SMTPGatewayEnable") {
        retry.reset();
    }
    // The entry about an empty file is followed by the one that it is not restored.
    const std::string empty = std::exchange(emptyFile_, "");
    messagesNotQueued += std::ranges::find(REFUSALS, text) != REFUSALS.end();
    for (const FileText& around : UNRESTORED) {
        auto file = fileIn(text, around);
        if (file && *file != empty) {
            messagesNotQueued += lostFiles_.insert(std::move(*file)).second;
        }
    }
}

void LogDigest::takeSigns(const LogEntry& entry) {
    if (const auto trouble = troubleIn(entry)) {
        signs.push_back({*trouble, entry.seconds * SECOND + entry.microseconds});
    }
}
