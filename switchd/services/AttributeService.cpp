#include "switchd/services/AttributeService.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"

#include <utility>

AttributeService::AttributeService(Transport& transport, AttributeStore& store, Faults& faults)
    : Service(transport, ServiceAddress::ATTRIBUTES), store_(store), faults_(faults) {
}

void AttributeService::receive(Hsb_Message& message) {
    if (message.format() != MessageFormat::DS) {
        return;
    }
    switch (message.code()) {
        case DsCode::CONNECT:
            return handleConnect(message);
        case DsCode::GET:
            return handleGet(message);
        case DsCode::BULK_GET:
            return handleBulkGet(message);
        case DsCode::SET:
            return handleSet(message);
        default:
            return;
    }
}

void AttributeService::handleConnect(const Hsb_Message& message) {
    const auto request = decodeFields<DsConnect>(message.payload());
    if (!request) {
        return;
    }
    const std::string nameless;
    const FaultVerdict verdict = faults_.judge(FaultOperation::CONNECT, {&nameless, 1});
    if (!verdict.names[0].refuse) {  // there is no way to say no but not to answer
        answer(message.source(), DsCode::CONNECTED, encodeFields(*request), verdict);
    }
}

void AttributeService::handleGet(const Hsb_Message& message) {
    if (const auto request = decodeFields<DsGet>(message.payload())) {
        const FaultVerdict verdict = faults_.judge(FaultOperation::GET, {&request->name, 1});
        const DsAttributeAnswer reply{request->id, read(request->name, verdict.names[0], MAX_ANSWER)};
        answer(message.source(), DsCode::ATTRIBUTE_REPLY, encodeFields(reply), verdict);
    }
}

void AttributeService::handleBulkGet(const Hsb_Message& message) {
    const auto request = decodeFields<DsBulkGet>(message.payload());
    if (!request) {
        return;
    }
    const FaultVerdict verdict = faults_.judge(FaultOperation::BULK_GET, request->names);
    DsBulkAnswer reply;
    reply.id = request->id;
    std::size_t room = MAX_ANSWER;
    for (std::size_t i = 0; i < request->names.size(); ++i) {
        if (!verdict.names[i].drop) {
            reply.attributes.push_back(read(request->names[i], verdict.names[i], room));
            room -= reply.attributes.back().value.size();
        }
    }
    answer(message.source(), DsCode::BULK_REPLY, encodeFields(reply), verdict);
}

void AttributeService::handleSet(const Hsb_Message& message) {
    if (const auto request = decodeFields<DsSet>(message.payload())) {
        const FaultVerdict verdict = faults_.judge(FaultOperation::SET, {&request->name, 1});
        const DsStatusAnswer reply{request->id, write(*request, verdict.names[0])};
        answer(message.source(), DsCode::STATUS_REPLY, encodeFields(reply), verdict);
    }
}

DsValue AttributeService::read(const std::string& name, const FaultVerdict::ForName& verdict, std::size_t room) {
    DsValue value;
    value.name = name;
    Attribute attribute;
    if (verdict.refuse) {
        value.status = DsStatus::REFUSED;
    } else if (const StoreStatus found = store_.get(name, attribute); found == StoreStatus::MISSING) {
        value.status = DsStatus::MISSING;
    } else if (found == StoreStatus::FAILED || attribute.value.size() > room) {
        value.status = DsStatus::FAILED;
    } else {
        value.type = attribute.type;
        value.value = std::move(attribute.value);
    }
    value.status = verdict.status.value_or(value.status);
    return value;
}

std::int32_t AttributeService::write(const DsSet& request, const FaultVerdict::ForName& verdict) {
    if (verdict.refuse) {
        return DsStatus::REFUSED;
    }
    const std::int32_t status =
        store_.set(request.name, request.type, request.value) < 0 ? DsStatus::FAILED : DsStatus::OK;
    return verdict.status.value_or(status);
}

void AttributeService::answer(const Hsb_Address& caller, std::uint16_t code, std::vector<std::uint8_t> payload,
                              const FaultVerdict& verdict) {
    if (verdict.silent) {
        return;
    }
    if (verdict.corrupt) {
        payload.resize(payload.size() / 2);
    }
    auto go = [this, caller, code, bytes = std::move(payload)] { send(caller, MessageFormat::DS, code, bytes); };
    if (verdict.hold) {
        faults_.hold(std::move(go));
    } else if (verdict.milliseconds > 0) {
        delayed_.after(verdict.milliseconds, std::move(go));
    } else {
        go();
    }
}
