#include "dsClient.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/client/request.h"
#include "platform/wire/DsWire.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

namespace {

// A name must fit its slot, and would be cut there at a NUL.
bool fits(std::string_view name) {
    return name.size() <= dsClient::NAME_SLOT && name.find('\0') == std::string_view::npos;
}

bool fits(const char* name) {
    return name != nullptr && fits(std::string_view(name));
}

template <typename Encode>
int ask(Hsb_Component* owner, std::uint16_t code, Encode&& encode) {
    return request(owner, ServiceAddress::ATTRIBUTES, MessageFormat::DS, code, std::forward<Encode>(encode));
}

// 0, or the error number of why an answer could not be read. Whoever asked waits for it, perhaps for ever.
template <typename Read>
int readAnswer(Read&& read) {
    int result = ENOMEM;
    persistently("reading an answer", [&] { result = read() ? 0 : EBADMSG; });
    return result;
}

DsEntry entryOf(DsValue& value) {
    return {std::move(value.name), value.type, std::move(value.value)};
}

DsBulkReply replyOf(DsBulkAnswer& answer) {
    DsBulkReply reply;
    reply.id = answer.id;
    reply.entries.reserve(answer.attributes.size());
    reply.statuses.reserve(answer.attributes.size());
    for (DsValue& value : answer.attributes) {
        reply.statuses.push_back(value.status);
        reply.entries.push_back(entryOf(value));
    }
    return reply;
}

}  // namespace

int dsClient::init(Hsb_Component* owner, DSCallbacks* callbacks) {
    SlotParty* const party = HostBus::instance().find(owner);
    if (party == nullptr || callbacks == nullptr ||
        ask(owner, DsCode::CONNECT, [] { return encodeFields(DsConnect{}); }) < 0) {
        return 0;
    }
    party->awaitStore(callbacks);
    owner_ = owner;
    return 1;
}

int dsClient::getAttrReq(std::uint32_t id, const char* name, std::uint32_t count) {
    return fits(name) ? ask(owner_, DsCode::GET, [&] { return encodeFields(DsGet{id, count, name}); }) : -1;
}

int dsClient::bulkGetAttrReq(std::uint32_t id, std::span<const std::string> names) {
    const auto fitting = [](const std::string& name) { return fits(std::string_view(name)); };
    if (names.size() > MAX_BULK_NAMES || !std::ranges::all_of(names, fitting)) {
        return -1;
    }
    return ask(owner_, DsCode::BULK_GET, [&] { return DsBulkGet::encode(id, names); });
}

int dsClient::setAttrReq(std::uint32_t id, const char* name, std::uint32_t type, const std::string& value,
                         std::uint32_t count) {
    if (!fits(name)) {
        return -1;
    }
    return ask(owner_, DsCode::SET, [&] { return encodeFields(DsSet{id, type, count, name, value}); });
}

int dsClient::attrData(const Hsb_Message& message, DsAttrReply& reply) const {
    return readAnswer([&] {
        auto answer = decodeFields<DsAttributeAnswer>(message.payload());
        if (answer) {
            reply = {answer->id, entryOf(answer->attribute), answer->attribute.status};
        }
        return answer.has_value();
    });
}

int dsClient::bulkAttr(const Hsb_Message& message, DsBulkReply& reply) const {
    return readAnswer([&] {
        auto answer = decodeFields<DsBulkAnswer>(message.payload());
        if (answer) {
            reply = replyOf(*answer);
        }
        return answer.has_value();
    });
}

int dsClient::statusMsg(const Hsb_Message& message, DsStatusReply& reply) const {
    return readAnswer([&] {
        const auto answer = decodeFields<DsStatusAnswer>(message.payload());
        if (answer) {
            reply = {answer->id, answer->status};
        }
        return answer.has_value();
    });
}
