#include "profile/OrvDsStatus.h"

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

// Kept: the words are those of the queue's configuration, whoever reports.
void orvReportBadStatus(const char* module, const char* function, std::size_t position, std::int32_t status) {
    const std::string text = orvFormat("Error getting Message Queue Config from DS - bad status array[%d] = %#08x",
                                       static_cast<int>(position), static_cast<unsigned>(status));
    orvTrace(module, function, "%s\n", text.c_str());
    orvLog(kOrvLogInternal, "%s", text.c_str());
}
