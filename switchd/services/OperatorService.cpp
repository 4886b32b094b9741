#include "switchd/services/OperatorService.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "switchd/services/Components.h"
#include "switchd/services/EventLog.h"
#include "switchd/services/Faults.h"
#include "switchd/services/ManagementService.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* UNREADABLE = "the request cannot be read";
constexpr const char* HAS_LEFT = "the component has left the bus";

WireBytes numberBody(std::size_t number) {
    return encodeFields(OneTag{static_cast<std::uint32_t>(number)});
}

// What a handler takes behind its caller.
template <typename Handle>
struct Taken;
template <typename Room, typename Request>
struct Taken<void (Room::*)(const OperatorCaller&, const Request&)> {
    using Type = Request;
};

}  // namespace

template <auto ROOM, auto HANDLE>
void OperatorService::to(OperatorService& service, const Caller& caller, WireSpan body) {
    if (const auto request = decodeFields<typename Taken<decltype(HANDLE)>::Type>(body)) {
        ((service.*ROOM).*HANDLE)(caller, *request);
    } else {
        service.refuse(caller, OperatorStatus::REFUSED, UNREADABLE);
    }
}

template <auto HANDLE>
void OperatorService::here(OperatorService& service, const Caller& caller, WireSpan body) {
    if (const auto request = decodeFields<typename Taken<decltype(HANDLE)>::Type>(body)) {
        (service.*HANDLE)(caller, *request);
    } else {
        service.refuse(caller, OperatorStatus::REFUSED, UNREADABLE);
    }
}

const OperatorService::Route OperatorService::ROUTES[] = {
    {OperatorCode::GET, &OperatorService::to<&OperatorService::attributes_, &OperatorAttributes::get>},
    {OperatorCode::LIST, &OperatorService::to<&OperatorService::attributes_, &OperatorAttributes::list>},
    {OperatorCode::CHANGE, &OperatorService::to<&OperatorService::attributes_, &OperatorAttributes::change>},
    {OperatorCode::PUBLISH_LOG, &OperatorService::to<&OperatorService::events_, &OperatorEvents::log>},
    {OperatorCode::PUBLISH_STATE, &OperatorService::to<&OperatorService::events_, &OperatorEvents::state>},
    {OperatorCode::PUBLISH_ADDRESSES, &OperatorService::to<&OperatorService::events_, &OperatorEvents::addresses>},
    {OperatorCode::PUBLISH_HOSTNAME, &OperatorService::to<&OperatorService::events_, &OperatorEvents::hostname>},
    {OperatorCode::PUBLISH_EVENT, &OperatorService::to<&OperatorService::events_, &OperatorEvents::event>},
    {OperatorCode::READ_LOG, &OperatorService::to<&OperatorService::log_, &OperatorLog::read>},
    {OperatorCode::FOLLOW_LOG, &OperatorService::to<&OperatorService::log_, &OperatorLog::follow>},
    {OperatorCode::SEARCH_LOG, &OperatorService::to<&OperatorService::log_, &OperatorLog::search>},
    {OperatorCode::LOG_SERIES, &OperatorService::to<&OperatorService::log_, &OperatorLog::series>},
    {OperatorCode::STOP, &OperatorService::here<&OperatorService::stop>},
    {OperatorCode::COMPONENTS, &OperatorService::here<&OperatorService::listComponents>},
    {OperatorCode::WAIT, &OperatorService::here<&OperatorService::wait>},
    {OperatorCode::MANAGEMENT, &OperatorService::here<&OperatorService::manage>},
    {OperatorCode::WATCH_RESULTS, &OperatorService::here<&OperatorService::watchResults>},
    {OperatorCode::PROBE, &OperatorService::here<&OperatorService::probe>},
    {OperatorCode::MESSAGE, &OperatorService::here<&OperatorService::sendMessage>},
    {OperatorCode::ADD_FAULT, &OperatorService::addFault},
    {OperatorCode::REMOVE_FAULT, &OperatorService::here<&OperatorService::removeFault>},
    {OperatorCode::CLEAR_FAULTS, &OperatorService::here<&OperatorService::clearFaults>},
    {OperatorCode::LIST_FAULTS, &OperatorService::here<&OperatorService::listFaults>},
    {OperatorCode::RELEASE_HELD, &OperatorService::here<&OperatorService::releaseHeld>},
};

OperatorService::OperatorService(Transport& transport, const OperatorParts& parts)
    : Service(transport, ServiceAddress::OPERATOR),
      parts_(parts),
      answers_([this](const Hsb_Address& to, std::uint16_t code, WireBytes payload) {
          send(to, OperatorCode::FORMAT, code, std::move(payload));
      }),
      attributes_(answers_, parts.attributes),
      events_(answers_, parts.events),
      log_(answers_, parts.logStore) {
    parts_.log.entries().add([this](const LogEntry& entry) { log_.tell(entry); });
    parts_.components.changes().add([this](const Components::Component&) { answerWaits(); });
    parts_.management.results().add([this](const TestResults::Result& result) { tellWatchers(result); });
}

void OperatorService::receive(Hsb_Message& message) {
    if (message.format() == MessageFormat::PROBE && message.code() == ProbeCode::REPLY) {
        return probed(message.source());
    }
    const auto request = decodeFields<OperatorRequest>(message.payload());
    if (message.format() != OperatorCode::FORMAT || !request) {
        return;  // without a tag there is nothing to answer
    }
    const Caller caller{message.source(), message.code(), request->tag};
    const auto* const route = std::ranges::find(ROUTES, message.code(), &Route::code);
    if (route == std::ranges::end(ROUTES)) {
        return refuse(caller, OperatorStatus::REFUSED, "unknown request " + std::to_string(message.code()));
    }
    route->handle(*this, caller, request->body);
}

void OperatorService::peerLeft(const Hsb_Address& process) {
    forget([&](const Caller& caller) { return belongsTo(caller.address, process); });
    std::erase_if(probes_, [&](const Probe& probe) {
        const bool gone = belongsTo(probe.component, process);
        if (gone && probe.caller) {
            refuse(*probe.caller, OperatorStatus::NO_COMPONENT, HAS_LEFT);
        }
        return gone;
    });
}

std::size_t OperatorService::forget(const OperatorCallers& matches) {
    std::size_t count = std::erase_if(waits_, [&](const Wait& wait) { return matches(wait.caller); });
    count += log_.forget(matches);
    count += std::erase_if(watchers_, matches);
    count += std::erase_if(calls_, [&](const auto& call) {
        const bool matched = matches(call.second);
        if (matched) {
            parts_.management.forget(call.first);
        }
        return matched;
    });
    for (Probe& probe : probes_) {
        if (probe.caller && matches(*probe.caller)) {
            probe.caller.reset();
            ++count;
        }
    }
    return count;
}

void OperatorService::stop(const Caller& caller, const OneTag& request) {
    const std::size_t count =
        forget([&](const Caller& known) { return known.address == caller.address && known.tag == request.number; });
    if (count == 0) {
        return refuse(caller, OperatorStatus::REFUSED, "nothing to stop under this tag");
    }
    done(caller);
}

void OperatorService::listComponents(const Caller& caller, const NoBody& /*request*/) {
    ComponentList list;
    for (const Components::Component& component : parts_.components.all()) {
        list.components.push_back({component.name, component.state, component.address.node, component.address.process});
    }
    done(caller, encodeFields(list));
}

void OperatorService::wait(const Caller& caller, const WaitRequest& request) {
    if (request.component.empty() || request.state < ComponentState::REGISTERED ||
        request.state > ComponentState::STARTED) {
        return refuse(caller, OperatorStatus::REFUSED, "no such component or state to wait for");
    }
    if (isReached(request)) {
        return done(caller);
    }
    waits_.push_back({caller, request});
}

bool OperatorService::isReached(const WaitRequest& request) const {
    const Components::Component* component = parts_.components.calledByOperator(request.component);
    return component != nullptr && component->state >= request.state;
}

void OperatorService::answerWaits() {
    std::erase_if(waits_, [this](const Wait& wait) {
        const bool reached = isReached(wait.request);
        if (reached) {
            done(wait.caller);
        }
        return reached;
    });
}

std::optional<Hsb_Address> OperatorService::find(const Caller& caller, const std::string& component) {
    const Components::Component* found = parts_.components.calledByOperator(component);
    if (found == nullptr) {
        refuse(caller, OperatorStatus::NO_COMPONENT, "component '" + component + "' is not there");
        return std::nullopt;
    }
    return found->address;
}

void OperatorService::manage(const Caller& caller, const ManagementCall& request) {
    const auto component = find(caller, request.component);
    if (!component) {
        return;
    }
    if (!request.answered) {
        parts_.management.requestOnly(*component, request.code, request.payload);
        return done(caller, encodeFields(ManagementAnswer()));
    }
    // The handle is known before the response can come: nothing is delivered from within a send.
    auto handle = std::make_shared<std::uint32_t>(0);
    *handle = parts_.management.request(*component, request.code, request.payload,
                                        [this, handle](const Hsb_Message* response) { managed(*handle, response); });
    calls_[*handle] = caller;
}

void OperatorService::managed(std::uint32_t handle, const Hsb_Message* response) {
    const auto known = calls_.extract(handle);
    if (known.empty()) {
        return;
    }
    if (response == nullptr) {
        return refuse(known.mapped(), OperatorStatus::NO_COMPONENT, HAS_LEFT);
    }
    done(known.mapped(), encodeFields(ManagementAnswer{response->code(), response->payload()}));
}

void OperatorService::watchResults(const Caller& caller, const NoBody& /*request*/) {
    watchers_.push_back(caller);
    done(caller, encodeFields(parts_.management.lastResults()));
}

void OperatorService::tellWatchers(const TestResults::Result& result) {
    const WireBytes body = encodeFields(TestResults{{result}});
    for (const Caller& watcher : watchers_) {
        answers_.push(watcher, OperatorCode::TEST_RESULT, body);
    }
}

void OperatorService::probe(const Caller& caller, const ProbeRequest& request) {
    if (const auto component = find(caller, request.component)) {
        send(*component, MessageFormat::PROBE, request.code);
        probes_.push_back({caller, *component});
    }
}

void OperatorService::probed(const Hsb_Address& component) {
    const auto oldest = std::ranges::find(probes_, component, &Probe::component);
    if (oldest == probes_.end()) {
        return;
    }
    if (oldest->caller) {
        done(*oldest->caller);
    }
    probes_.erase(oldest);
}

void OperatorService::sendMessage(const Caller& caller, const RawMessage& request) {
    if (const auto component = find(caller, request.component)) {
        send(*component, request.format, request.code, {request.payload.begin(), request.payload.end()});
        done(caller);
    }
}

void OperatorService::addFault(OperatorService& service, const Caller& caller, WireSpan body) {
    const auto rule = FaultWire::decode(body);
    const std::string problem = rule ? Faults::problem(*rule) : UNREADABLE;
    if (!problem.empty()) {
        return service.refuse(caller, OperatorStatus::REFUSED, problem);
    }
    service.done(caller, numberBody(service.parts_.faults.add(*rule)));
}

void OperatorService::removeFault(const Caller& caller, const OneTag& request) {
    if (!parts_.faults.remove(request.number)) {
        return refuse(caller, OperatorStatus::REFUSED, "there is no fault " + std::to_string(request.number));
    }
    done(caller);
}

void OperatorService::clearFaults(const Caller& caller, const NoBody& /*request*/) {
    done(caller, numberBody(parts_.faults.clear()));
}

void OperatorService::listFaults(const Caller& caller, const NoBody& /*request*/) {
    FaultList list;
    for (const Faults::Numbered& known : parts_.faults.rules()) {
        list.faults.push_back({known.number, known.rule});
    }
    done(caller, encodeFields(list));
}

void OperatorService::releaseHeld(const Caller& caller, const NoBody& /*request*/) {
    done(caller, numberBody(parts_.faults.release()));
}
