#include "switchctl/traces/QueueLives.h"

#include "switchctl/text/Text.h"

#include <string_view>

namespace {

constexpr std::string_view QUEUE_MODULE = "OrvCHMesgQ ";
constexpr std::string_view ENTRY_BEGINS = "entry (";
constexpr std::string_view ADDED = " added to the ";
constexpr std::string_view REMOVED = " removed from the ";
constexpr std::string_view FILE_BEGINS = "file=";
constexpr std::string_view REPEAT = "already on ";

// The number behind "entry (", wherever that stands.
std::optional<std::uint32_t> entryIn(std::string_view message) {
    const std::size_t place = message.find(ENTRY_BEGINS);
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = message.substr(place + ENTRY_BEGINS.size());
    const auto number = Text::number(rest.substr(0, rest.find(')')), 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::string wordBehind(std::string_view message, std::string_view words) {
    const std::string_view rest = message.substr(message.find(words) + words.size());
    return std::string(rest.substr(0, rest.find_first_of(" \n")));
}

std::string firstLine(std::string_view message) {
    return std::string(message.substr(0, message.find('\n')));
}

}  // namespace

void QueueLives::take(const TraceRecord& record) {
    if (!record.method.starts_with(QUEUE_MODULE)) {
        return;
    }
    const std::string_view method = record.method.substr(QUEUE_MODULE.size());
    const std::string_view message = record.message;
    const std::int64_t time = record.time().value_or(0);
    if (method == "addInternal" || method == "removeInternal") {
        takeMove(message, time);
    } else if (method == "saveEntryToFile" || method == "deleteEntryFile") {
        takeFile(method, message, time);
    } else if (method.starts_with("peek")) {
        inHand_.reset();
        takeSend(method, message, time);
    } else if (method == "add") {
        inHand_.reset();
        if (saved_ && message.starts_with(REPEAT)) {
            tell(*saved_, time, "queue", "a repeat is counted: " + firstLine(message));
        }
    } else if (method != "updateOrderFile" && method != "oneSecondChores") {
        inHand_.reset();
    }
}

void QueueLives::takeMove(std::string_view message, std::int64_t time) {
    const auto number = entryIn(message);
    const bool added = message.find(ADDED) != std::string_view::npos;
    if (!number || (!added && message.find(REMOVED) == std::string_view::npos)) {
        return;
    }
    const std::string list = wordBehind(message, added ? ADDED : REMOVED);
    const Place place{list, *number};
    if (!added) {
        inHand_ = lifeAt(place);
        tell(*inHand_, time, "queue", "leaves the " + list + " queue");
        return;
    }
    const bool moved = inHand_.has_value();
    if (!moved) {
        lives_.emplace_back();
    }
    const std::size_t life = moved ? *inHand_ : lives_.size() - 1;
    inHand_.reset();
    places_.insert_or_assign(place, life);
    tell(life, time, "queue", "comes to the " + list + " queue as number " + std::to_string(*number));
}

void QueueLives::takeFile(std::string_view method, std::string_view message, std::int64_t time) {
    if (!message.starts_with(FILE_BEGINS)) {
        return;
    }
    const std::string file = wordBehind(message, FILE_BEGINS);
    const auto parts = Text::split(file, '/');
    const auto number = parts.size() > 2 && parts.back().starts_with('m')
                            ? Text::number(parts.back().substr(1), INT32_MIN, UINT32_MAX)
                            : std::nullopt;
    if (!number) {
        return;
    }
    const bool saved = method == "saveEntryToFile";
    const std::size_t life = lifeAt({parts[parts.size() - 2], static_cast<std::uint32_t>(*number)});
    saved_ = saved ? std::optional(life) : saved_;
    tell(life, time, "flash", (saved ? "is written to " : "its file goes: ") + file);
}

void QueueLives::takeSend(std::string_view method, std::string_view message, std::int64_t time) {
    const auto number = entryIn(message);
    if (!number) {
        return;
    }
    const std::size_t life = lifeAt({"send", *number});
    if (method == "peekOpen") {
        lives_[life].sends.push_back({time, INT64_MAX});
        tell(life, time, "queue", "goes to the send thread");
        return;
    }
    if (!lives_[life].sends.empty()) {
        lives_[life].sends.back().end = time;
    }
    tell(life, time, "queue", "comes back: " + firstLine(message));
}

// One that was there before the trace begins has a life as well.
std::size_t QueueLives::lifeAt(const Place& place) {
    const auto [found, isNew] = places_.emplace(place, lives_.size());
    if (isNew) {
        lives_.emplace_back();
    }
    return found->second;
}

void QueueLives::tell(std::size_t life, std::int64_t time, const char* source, std::string text) {
    lives_[life].steps.push_back({time, source, std::move(text)});
}

const QueueLives::Life* QueueLives::find(const std::string& list, std::uint32_t number) const {
    const auto found = places_.find({list, number});
    return found == places_.end() ? nullptr : &lives_[found->second];
}
