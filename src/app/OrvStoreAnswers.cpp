#include "app/OrvStoreAnswers.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "callhome/OrvCallHome.h"
#include "dbg/OrvEventLog.h"

#include <algorithm>
#include <span>
#include <string>

namespace {

constexpr char kTraceModule[] = "OrvApp";

// Request ids that each kind of answer may carry.
constexpr std::uint32_t kBulkIds[] = {
    DsRequestId::IDENTITY,      DsRequestId::SEND_CLIENT,           DsRequestId::PROFILE_INITIAL,
    DsRequestId::PROFILE_EMAIL, DsRequestId::PROFILE_CAPTURE_TYPES, DsRequestId::PROFILE_CAPTURE_ATTRS,
    DsRequestId::QUEUE};
// Kept: an id under which nothing is asked for passes here and is refused further on.
constexpr std::uint32_t kAttributeIds[] = {DsRequestId::FEATURE_FLAG, DsRequestId::SERVICES, DsRequestId::SWITCH_STATE,
                                           DsRequestId::NUMBER_OF_PROFILES, DsRequestId::UNUSED};
constexpr std::uint32_t kStatusIds[] = {DsRequestId::PROFILE_MARKER, DsRequestId::ACTIVE_SERVER};

bool isAmong(std::span<const std::uint32_t> ids, std::uint32_t id) {
    return std::ranges::find(ids, id) != ids.end();
}

// A text of the store ends at its first NUL: no file could hold one behind it.
void endAtNul(std::string& text) {
    text.resize(std::min(text.size(), text.find('\0')));
}

int unhandledDsId(const char* handler, std::uint32_t id) {
    orvLog(orv_log::kUnknownDsId, handler, id);
    return -1;
}

}  // namespace

int OrvStoreAnswers::process(const Hsb_Message& message) {
    switch (message.code()) {
        case DsCode::ATTRIBUTE_REPLY:
            return processDsAttribute(message);
        case DsCode::BULK_REPLY:
            return processDsAttributeBulk(message);
        case DsCode::STATUS_REPLY:
            return processDsStatus(message);
        default:
            orvLog(orv_log::kUnknownDsCode, kTraceModule, __LINE__, message.code());
            return -1;
    }
}

int OrvStoreAnswers::processDsAttribute(const Hsb_Message& message) {
    DsAttrReply reply;
    if (const int error = store_.attrData(message, reply); error != 0) {
        orvLog(orv_log::kBadDsReply, error, kTraceModule, __LINE__);
        return -1;
    }
    endAtNul(reply.entry.value);
    return isAmong(kAttributeIds, reply.id) ? callHome_.processConfig(reply) : unhandledDsId(__func__, reply.id);
}

int OrvStoreAnswers::processDsAttributeBulk(const Hsb_Message& message) {
    DsBulkReply reply;
    if (const int error = store_.bulkAttr(message, reply); error != 0) {
        orvLog(orv_log::kBadDsReply, error, kTraceModule, __LINE__);
        callHome_.bulkReplyLost();
        return -1;
    }
    std::ranges::for_each(reply.entries, endAtNul, &DsEntry::value);
    return isAmong(kBulkIds, reply.id) ? callHome_.processConfigBulk(reply) : unhandledDsId(__func__, reply.id);
}

int OrvStoreAnswers::processDsStatus(const Hsb_Message& message) {
    DsStatusReply reply;
    if (store_.statusMsg(message, reply) != 0) {
        orvLog(orv_log::kUnknownDsStatusId, kTraceModule, __LINE__, reply.id, reply.status);
        return -1;
    }
    return isAmong(kStatusIds, reply.id) ? callHome_.processDsStatus(reply) : unhandledDsId(__func__, reply.id);
}
