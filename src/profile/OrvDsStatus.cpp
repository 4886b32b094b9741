#include "profile/OrvDsStatus.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

int orvTakeAnswer(const char* module, int line, std::span<const DsEntry> entries,
                  std::span<const std::int32_t> statuses, const std::function<bool(const DsEntry&)>& take) {
    constexpr char kFunction[] = "processConfigBulk";
    int unknown = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const DsEntry& entry = entries[i];
        orvTrace(module, kFunction, "name = %s, type = %d, value = %s\n", entry.name.c_str(),
                 static_cast<int>(entry.type), entry.value.c_str());
        if (const std::int32_t status = orvStatusAt(statuses, i); !orvIsGoodStatus(status)) {
            // Kept: the words are those of the queue's configuration, whoever reports.
            orvTraceAndLog(module, kFunction, orv_log::kBulkStatus, static_cast<int>(i), static_cast<unsigned>(status));
        } else if (!take(entry)) {
            orvLog(orv_log::kAttributeUnknown, module, line, entry.value.c_str());
            ++unknown;
        }
    }
    return -unknown;
}
