#include "switchd/services/EventService.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/wire/EnsWire.h"

#include <algorithm>

EventService::EventService(Transport& transport) : Service(transport, ServiceAddress::EVENTS) {
}

void EventService::receive(Hsb_Message& message) {
    if (message.format() != MessageFormat::ENS) {
        return;
    }
    if (message.code() == EnsCode::PUBLISH) {
        return handlePublish(message);
    }
    const auto request = decodeFields<EnsRequest>(message.payload());
    if (!request) {
        return;
    }
    const EventId event{request->category, request->event};
    // Producers announce themselves with codes of their own; nothing here depends on it.
    switch (message.code()) {
        case EnsCode::SUBSCRIBE:
            return subscribe(message.source(), event);
        case EnsCode::UNSUBSCRIBE:
            return unsubscribe(message.source(), event);
        default:
            return;
    }
}

void EventService::peerLeft(const Hsb_Address& process) {
    const auto gone = [&](const Hsb_Address& consumer) { return belongsTo(consumer, process); };
    for (auto& [event, consumers] : subscribers_) {
        std::erase_if(consumers, gone);
    }
    std::erase_if(subscribers_, [](const auto& entry) { return entry.second.empty(); });
    std::erase_if(consumers_, gone);
}

void EventService::handlePublish(const Hsb_Message& message) {
    if (const auto event = decodeFields<EnsEventData>(message.payload())) {
        publish({event->category, event->number}, event->data);
    }
}

void EventService::subscribe(const Hsb_Address& consumer, const EventId& event) {
    std::vector<Hsb_Address>& consumers = subscribers_[event];
    if (std::ranges::find(consumers, consumer) == consumers.end()) {
        consumers.push_back(consumer);
    }
    if (std::ranges::find(consumers_, consumer) == consumers_.end()) {
        consumers_.push_back(consumer);
        send(consumer, MessageFormat::ENS, EnsCode::READY);
    }
}

void EventService::unsubscribe(const Hsb_Address& consumer, const EventId& event) {
    const auto known = subscribers_.find(event);
    if (known != subscribers_.end()) {
        std::erase(known->second, consumer);
    }
}

std::size_t EventService::publish(const EventId& event, std::span<const std::uint8_t> data) {
    const auto known = subscribers_.find(event);
    if (known == subscribers_.end()) {
        return 0;
    }
    const std::vector<std::uint8_t> payload = encodeFields(EnsEventData{event.category, event.number, data});
    for (const Hsb_Address& consumer : known->second) {
        send(consumer, MessageFormat::ENS_EVENT, EnsEventCode::EVENT, payload);
    }
    return known->second.size();
}

std::size_t EventService::subscribers(const EventId& event) const {
    const auto known = subscribers_.find(event);
    return known == subscribers_.end() ? 0 : known->second.size();
}
