#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"

static constexpr char kTraceModule[] = "OrvCHMesg";

void OrvCHMesg::probe() const {
    ORV_TRACE("PROBE ----------------------------------\n");
    ORV_TRACE("  OrvCHMesg\n");
    ORV_TRACE("    BytesToSave = %d\n", bytesToSave_);
    ORV_TRACE("    FileName = %s\n", FileName.c_str());
    ORV_TRACE("    DuplicateCount = %d\n", DuplicateCount);
    ORV_TRACE("    DuplicateTime = %s\n", DuplicateTime.c_str());
    ORV_TRACE("    Time = %s\n", Time.c_str());
    ORV_TRACE("    ID = %s\n", ID.c_str());
    if (logEvent_ != nullptr) {
        ORV_TRACE("    Type = %s\n", "LogEvent");
        logEvent_->probe();
    } else if (cronCapture_ != nullptr) {
        ORV_TRACE("    Type = %s\n", "CronCapture");
        cronCapture_->probe();
    } else {
        ORV_TRACE("    Type = \n");
    }
    ORV_TRACE("    Text = %s\n", Text.c_str());
    for (std::size_t i = 0; i < Envelopes.size(); ++i) {
        ORV_TRACE("    Envelope[%d]:\n", static_cast<int>(i));
        Envelopes[i]->probe();
    }
}
