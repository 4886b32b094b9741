#include "switchctl/traces/QueueLives.h"

#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"

#include <string_view>

namespace {

// The number behind "entry (", wherever that stands.
std::optional<std::uint32_t> entryIn(std::string_view message) {
    const std::size_t place = message.find(DaemonWords::ENTRY_BEGINS);
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = message.substr(place + DaemonWords::ENTRY_BEGINS.size());
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
    const std::size_t blank = record.method.find(' ');
    if (blank == std::string_view::npos || record.method.substr(0, blank) != DaemonWords::QUEUE.module) {
        return;
    }
    const std::string_view method = record.method.substr(blank + 1);
    const std::string_view message = record.message;
    const std::int64_t time = record.time().value_or(0);
    if (record.is(DaemonWords::QUEUE_ADDS) || record.is(DaemonWords::QUEUE_REMOVES)) {
        takeMove(message, time);
    } else if (record.is(DaemonWords::QUEUE_SAVES) || record.is(DaemonWords::QUEUE_DELETES)) {
        takeFile(record.is(DaemonWords::QUEUE_SAVES), message, time);
    } else if (method.starts_with(DaemonWords::PEEKS)) {
        inHand_.reset();
        takeSend(method == DaemonWords::MESSAGE_OPENED.method, message, time);
    } else if (record.is(DaemonWords::QUEUE_TAKES)) {
        inHand_.reset();
        if (saved_ && message.starts_with(DaemonWords::REPEAT)) {
            tell(*saved_, time, "queue", "a repeat is counted: " + firstLine(message));
        }
    } else if (!record.is(DaemonWords::QUEUE_ORDERS) && !record.is(DaemonWords::QUEUE_CHORES)) {
        inHand_.reset();
    }
}

void QueueLives::takeMove(std::string_view message, std::int64_t time) {
    const auto number = entryIn(message);
    const bool added = message.find(DaemonWords::ADDED) != std::string_view::npos;
    if (!number || (!added && message.find(DaemonWords::REMOVED) == std::string_view::npos)) {
        return;
    }
    const std::string list = wordBehind(message, added ? DaemonWords::ADDED : DaemonWords::REMOVED);
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

void QueueLives::takeFile(bool saved, std::string_view message, std::int64_t time) {
    if (!message.starts_with(DaemonWords::FILE_BEGINS)) {
        return;
    }
    const std::string file = wordBehind(message, DaemonWords::FILE_BEGINS);
    const auto parts = Text::split(file, '/');
    const auto number = parts.size() > 2 && parts.back().starts_with('m')
                            ? Text::number(parts.back().substr(1), INT32_MIN, UINT32_MAX)
                            : std::nullopt;
    if (!number) {
        return;
    }
    const std::size_t life = lifeAt({parts[parts.size() - 2], static_cast<std::uint32_t>(*number)});
    saved_ = saved ? std::optional(life) : saved_;
    tell(life, time, "flash", (saved ? "is written to " : "its file goes: ") + file);
}

void QueueLives::takeSend(bool opened, std::string_view message, std::int64_t time) {
    const auto number = entryIn(message);
    if (!number) {
        return;
    }
    const std::size_t life = lifeAt({"send", *number});
    if (opened) {
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
