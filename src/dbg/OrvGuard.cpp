#include "dbg/OrvGuard.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"

#include <exception>
#include <new>

namespace {

constexpr char kTraceModule[] = "OrvGuard";

void report(const char* where, const char* what) {
    orvTraceAndLog(kTraceModule, __func__, orv_log::kEventDropped, where, what);
}

}  // namespace

void orvReportException(const char* where) noexcept {
    try {
        try {
            throw;
        } catch (const std::bad_alloc&) {
            orvMemoryAlarm();
        } catch (const std::exception& exception) {
            report(where, exception.what());
        } catch (...) {
            report(where, "of unknown type");
        }
    } catch (...) {
        // Reporting failed as well; the event is dropped all the same.
    }
}
