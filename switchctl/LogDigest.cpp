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

enum class Meaning { FAILURE, RETRY, RECOVERY, RETRY_ENDED, RECIPIENT_GIVEN_UP, MAIL_GIVEN_UP };

struct NumberMeaning {
    std::uint32_t number;
    Meaning meaning;
};

constexpr NumberMeaning MEANINGS[] = {
    {0x8b00000e, Meaning::RETRY_ENDED},        {0x8b00000f, Meaning::RETRY},
    {0x8b000011, Meaning::RETRY_ENDED},        {0x8b000013, Meaning::FAILURE},
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

std::string wordAfter(const std::string& text, const std::string& label) {
    const std::size_t start = text.find(label);
    return start == std::string::npos
               ? ""
               : text.substr(start + label.size(),
                             text.find_first_of(", ", start + label.size()) - start - label.size());
}

// "Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds"
LogDigest::Retry retryIn(const LogEntry& entry, std::uint64_t timeScale) {
    const std::int64_t delay = Text::number(wordAfter(entry.text, "after "), 0, INT32_MAX).value_or(0);
    return {wordAfter(entry.text, "server=") + ":" + wordAfter(entry.text, "port="),
            entry.seconds * SECOND + entry.microseconds + delay * SECOND / static_cast<std::int64_t>(timeScale)};
}

// As the daemon reads it.
std::uint64_t timeScaleOfSwitch() {
    const char* text = std::getenv("HSB_TIME_SCALE");
    constexpr unsigned long long LARGEST = 1000000;
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
