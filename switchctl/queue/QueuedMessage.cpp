#include "switchctl/queue/QueuedMessage.h"

#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgFileReader.h"
#include "mesg/OrvMesgNumbers.h"
#include "mesg/OrvMesgTags.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <ctime>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

// The queue's own block behind the message.
constexpr std::string_view STATE_BEGINS = "\n<OrvCHMesgQ>\n";
constexpr std::string_view PENDING = "\nduplicatesPending = ";
constexpr std::string_view MARK = "\nmarkedForDeletion = ";

std::uint32_t numberBehind(std::string_view words, std::string_view text) {
    const std::size_t place = text.find(words);
    if (place == std::string_view::npos) {
        return 0;
    }
    const std::string_view rest = text.substr(place + words.size());
    return static_cast<std::uint32_t>(Text::number(rest.substr(0, rest.find('\n')), 0, UINT32_MAX).value_or(0));
}

std::optional<std::int64_t> secondsOf(std::tm time, const std::string& zone) {
    if (zone == "UTC" || zone == "GMT") {
        return std::int64_t{timegm(&time)};
    }
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    char ours[64] = "";
    const bool known = seconds != -1 && std::strftime(ours, sizeof ours, "%Z", &time) != 0 && zone == ours;
    return known ? std::optional(std::int64_t{seconds}) : std::nullopt;
}

}  // namespace

void QueuedMessage::LeavesFilesAlone::operator()(OrvCHMesg* message) const {
    if (CronCaptureData* const capture = message->cronCapture(); capture != nullptr) {
        capture->Attachments.clear();
    }
    delete message;
}

QueuedMessage QueuedMessage::parse(const std::string& bytes) {
    QueuedMessage result;
    result.message_.reset(new OrvCHMesg);
    std::istringstream stream(bytes);
    OrvMesgFileReader reader(stream, *result.message_);
    result.restorable_ = reader.findStart() == 0 && reader.readElements() == 0;
    result.whole_ = result.restorable_;
    if (!result.restorable_ && result.message_->ID == orvMesgId(kOrvCaptureMesg)) {
        Owned capture = captureFrom(*result.message_, bytes);
        result.whole_ = capture != nullptr;
        result.message_ = capture ? std::move(capture) : std::move(result.message_);
    }
    result.readState(bytes);
    return result;
}

// Its elements are those of a log event that nobody knows: the reader has passed over them.
QueuedMessage::Owned QueuedMessage::captureFrom(const OrvCHMesg& read, const std::string& bytes) {
    Owned message(new OrvCHMesg(OrvCHMesg::kCronCapture));
    message->Time = read.Time;
    message->ID = read.ID;
    message->Text = read.Text;
    {
        const Mt::Lock lock(message->lock());
        message->DuplicateCount = read.duplicateCount();
        message->DuplicateTime = read.duplicateTime();
    }
    for (const auto& envelope : read.Envelopes) {
        message->addEnvelope(std::make_unique<OrvCHEnvelope>(*envelope));
    }
    std::istringstream stream(bytes);
    std::string line;
    while (!orvAtEnd(stream) && line != orv_mesg_tags::kMesgEnd) {
        orvReadLine(stream, line);
        static_cast<void>(message->cronCapture()->restore(line, stream));
    }
    const bool complete = line == orv_mesg_tags::kMesgEnd && message->cronCapture()->MissingAttributes == 0;
    return complete ? std::move(message) : nullptr;
}

void QueuedMessage::readState(const std::string& bytes) {
    const std::size_t place = bytes.rfind(STATE_BEGINS);
    if (place != std::string::npos) {
        const std::string_view state = std::string_view(bytes).substr(place);
        pendingRepeats_ = numberBehind(PENDING, state);
        mark_ = numberBehind(MARK, state);
    }
}

// "Tue Nov 14 22:13:20.123 UTC 2023", or without milliseconds.
std::optional<std::int64_t> QueuedMessage::happened() const {
    const std::vector<std::string> words = Text::split(message_->Time, ' ');
    constexpr std::size_t WORDS = 6;
    if (words.size() != WORDS) {
        return std::nullopt;
    }
    const std::size_t point = words[3].find('.');
    const std::string clock = words[3].substr(0, point);
    const auto milliseconds =
        point == std::string::npos ? std::optional<std::int64_t>(0) : Text::number(words[3].substr(point + 1), 0, 999);
    const std::string text = words[1] + " " + words[2] + " " + words[5] + " " + clock;
    std::tm time{};
    const char* const end = strptime(text.c_str(), "%b %d %Y %H:%M:%S", &time);
    const auto seconds = end != nullptr && *end == '\0' ? secondsOf(time, words[4]) : std::nullopt;
    constexpr std::int64_t MILLISECOND = SECOND / 1000;
    return seconds && milliseconds ? std::optional(*seconds * SECOND + *milliseconds * MILLISECOND) : std::nullopt;
}
