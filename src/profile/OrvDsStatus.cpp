#include "profile/OrvDsStatus.h"

#include "dbg/OrvEventLog.h"

// Kept: the words are those of the queue's configuration, whoever reports.
void orvReportBadStatus(const char* module, const char* function, std::size_t position, std::int32_t status) {
    orvTraceAndLog(module, function, orv_log::kBulkStatus, static_cast<int>(position), static_cast<unsigned>(status));
}
