#include "mesg/OrvMesgFileReader.h"

#include "base/OrvNumber.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgTags.h"

#include <new>

static constexpr char kTraceModule[] = "OrvCHMesg";

using namespace orv_mesg_tags;

static int fail(const char* text) {
    orvTrace(kTraceModule, "restore", "%s", text);
    return -1;
}

// The end tag is not among them: it ends the walk.
const OrvMesgFileReader::Handler OrvMesgFileReader::kHandlers[] = {
    {kDupCnt, &OrvMesgFileReader::takeDupCnt},
    {kDupTime, &OrvMesgFileReader::takeDupTime},
    {kTime, &OrvMesgFileReader::takeTime},
    {kId, &OrvMesgFileReader::takeId},
    {kText, &OrvMesgFileReader::takeText},
    {kEnvelopeList, &OrvMesgFileReader::takeEnvelopes},
    {kEnvelopeListEnd, &OrvMesgFileReader::takeEnvelopesEnd},
};

int OrvMesgFileReader::findStart() {
    std::string line;
    while (!orvAtEnd(stream_)) {
        orvReadLine(stream_, line);
        if (line == kMesg) {
            return 0;
        }
    }
    return fail("[FAIL] Start tag not found\n");
}

int OrvMesgFileReader::readElements() {
    std::string line;
    for (;;) {
        if (orvAtEnd(stream_)) {
            return fail("[FAIL] unexpected EOF\n");
        }
        orvReadLine(stream_, line);
        if (line == kMesgEnd) {
            return finish();
        }
        if (take(line) < 0) {
            return -1;
        }
    }
}

int OrvMesgFileReader::finish() {
    mesg_.bytesToSave();  // counts the message part, now that it is known
    return seen_ == kSeenAll ? 0 : fail("[FAIL] attributes missing\n");
}

int OrvMesgFileReader::take(const std::string& line) {
    for (const Handler& handler : kHandlers) {
        if (line == handler.line) {
            return (this->*handler.take)();
        }
    }
    if (takeTypeElement(line)) {
        return typeStatus();
    }
    return takeUnknown(line);
}

int OrvMesgFileReader::takeDupCnt() {
    std::string value;
    if (takeValue(kDupCnt, value, kSeenDupCnt) < 0) {
        return -1;
    }
    mesg_.DuplicateCount = orvToSigned(value).value;
    return 0;
}

int OrvMesgFileReader::takeDupTime() {
    return takeValue(kDupTime, mesg_.DuplicateTime, kSeenDupTime);
}

int OrvMesgFileReader::takeTime() {
    return takeValue(kTime, mesg_.Time, kSeenTime);
}

int OrvMesgFileReader::takeId() {
    return takeValue(kId, mesg_.ID, kSeenId) < 0 ? -1 : mesg_.createMesgByType();
}

int OrvMesgFileReader::takeText() {
    return takeValue(kText, mesg_.Text, kSeenText);
}

int OrvMesgFileReader::takeValue(std::string_view tag, std::string& value, Seen mark) {
    if (restoreThruDashTag(tag, stream_, value) < 0) {
        return -1;
    }
    seen_ |= mark;
    return 0;
}

int OrvMesgFileReader::takeEnvelopes() {
    std::string line;
    for (;;) {
        if (orvAtEnd(stream_)) {
            return fail("[FAIL] unexpected EOF while processing envelopes\n");
        }
        orvReadLine(stream_, line);
        if (line == kEnvelopeListEnd) {
            seen_ |= kSeenEnvelopes;
            return 0;
        }
        if (takeEnvelope(line) < 0) {
            return -1;
        }
    }
}

int OrvMesgFileReader::takeEnvelope(const std::string& line) {
    std::unique_ptr<OrvCHEnvelope> envelope(new (std::nothrow) OrvCHEnvelope);
    if (envelope == nullptr) {
        envelope.reset(new (std::nothrow) OrvCHEnvelope);  // a message would be lost for want of a moment's memory
    }
    if (envelope == nullptr) {
        orvMemoryAlarm();
        // Kept: the name of another class.
        return fail("Failure to allocate OrvCHMesgQMainCmdResp object\n");
    }
    if (envelope->restore(line, stream_) < 0) {
        return fail("[FAIL] bad envelope\n");
    }
    return mesg_.addEnvelope(std::move(envelope));
}

int OrvMesgFileReader::takeEnvelopesEnd() {
    return (seen_ & kSeenEnvelopes) != 0 ? 0 : fail("[FAIL] token out of order, ENVENDTAG before ENVSTARTTAG\n");
}

bool OrvMesgFileReader::takeTypeElement(const std::string& line) {
    bool complete = false;
    if (LogEventData* data = mesg_.logEvent(); data != nullptr && data->restore(line, stream_)) {
        complete = data->LevelRestored;
    } else if (CronCaptureData* capture = mesg_.cronCapture(); capture != nullptr && capture->restore(line, stream_)) {
        complete = capture->MissingAttributes == 0;
    } else {
        return false;
    }
    if (complete) {
        seen_ |= kSeenTypePart;
    }
    return true;
}

int OrvMesgFileReader::typeStatus() const {
    const bool logEventFailed = mesg_.logEvent() != nullptr && mesg_.logEvent()->RestoreStatus < 0;
    const bool captureFailed = mesg_.cronCapture() != nullptr && mesg_.cronCapture()->RestoreStatus < 0;
    return logEventFailed || captureFailed ? -1 : 0;
}

int OrvMesgFileReader::takeUnknown(const std::string& line) {
    if (!orvIsOpeningTag(line)) {
        return fail("[FAIL] bad token\n");
    }
    // Kept: the text speaks of an envelope although none is being read.
    return orvSkipElement(line, stream_) < 0 ? fail("[FAIL] bad envelope\n") : 0;
}
