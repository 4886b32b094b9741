#include "profile/OrvProfileRequests.h"

#include "MessageCodes.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dsClient.h"

namespace {

constexpr char kTraceModule[] = "OrvCHProfile";
constexpr char kMarkerKey[] = "Oper.Callhome.MarkerData";
constexpr char kMarker[] = "OK";

}  // namespace

int orvReadProfileAttributes(dsClient& store, std::uint32_t requestId, const std::vector<std::string>& keys,
                             const char* caller, const OrvLogEntry<>& failure) {
    orvLog(orv_log::kBulkRead, static_cast<unsigned>(keys.size()));
    if (store.bulkGetAttrReq(requestId, keys) == 0) {
        return 0;
    }
    orvLog(orv_log::kBulkUnsent);
    orvTrace(kTraceModule, caller, "flushBulkGetSameComp() error\n");
    orvLog(failure);
    return -1;
}

int orvWriteProfileMarker(dsClient& store) {
    if (store.setAttrReq(DsRequestId::PROFILE_MARKER, kMarkerKey, dsClient::TYPE_STRING, kMarker, 1) == 0) {
        return 0;
    }
    orvLog(orv_log::kMarkerUnsent);
    return -1;
}
