#include "mesg/OrvCHEnvelope.h"

#include "dbg/OrvDbg.h"
#include "mesg/OrvMesgSize.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvMesgText.h"

static constexpr char kTraceModule[] = "OrvCHEnvelope";

using namespace orv_mesg_tags;

char OrvCHEnvelope::markOf(const std::string& recipient) {
    constexpr std::string_view kMarks{"!#$%"};
    return !recipient.empty() && kMarks.find(recipient.front()) != kMarks.npos ? recipient.front() : kNoMark;
}

char OrvCHEnvelope::recipientMark() const {
    return RecipientCursor < Recipients.size() ? markOf(Recipients[RecipientCursor]) : kNoMark;
}

void OrvCHEnvelope::setRecipientMark(char mark) {
    if (RecipientCursor >= Recipients.size()) {
        return;
    }
    std::string& recipient = Recipients[RecipientCursor];
    if (markOf(recipient) != kNoMark) {
        recipient.erase(0, 1);
    }
    if (mark != kNoMark) {
        recipient.insert(recipient.begin(), mark);
    }
}

std::string OrvCHEnvelope::recipientAddress() const {
    if (RecipientCursor >= Recipients.size()) {
        return {};
    }
    return Recipients[RecipientCursor].substr(recipientMark() == kNoMark ? 0 : 1);
}

std::uint32_t OrvCHEnvelope::resetRecipients() {
    std::uint32_t undelivered = 0;
    for (std::string& recipient : Recipients) {
        const char mark = markOf(recipient);
        undelivered += mark != kDelivered;
        if (mark != kNoMark) {
            recipient.erase(0, 1);
        }
    }
    Done = false;
    return undelivered;
}

std::int32_t OrvCHEnvelope::bytesToSave() const {
    constexpr std::int64_t kLineFeedsAndDigits = 26;
    std::int64_t bytes =
        orvLengths({kEnvelope, kEnvelopeEnd, kMaxSize, kType, kProfile, kSubj, kRcptList, kRcptListEnd}) +
        orvLengths({Type, ProfileName, Subject}) + 4 * orvLengths({kEndOfRecord}) + kLineFeedsAndDigits;
    for (const std::string& recipient : Recipients) {
        bytes += orvLengths({recipient}) + 1;
    }
    return orvSaturate(bytes);
}

void OrvCHEnvelope::save(std::string& file) const {
    orvAppendLine(file, kEnvelope);
    orvAppendElement(file, kMaxSize, std::to_string(MaxSize));
    orvAppendElement(file, kType, Type);
    orvAppendElement(file, kProfile, ProfileName);
    orvAppendElement(file, kSubj, Subject);
    orvAppendLine(file, kRcptList);
    for (const std::string& recipient : Recipients) {
        orvAppendLine(file, recipient);
    }
    orvAppendLine(file, kRcptListEnd);
    orvAppendLine(file, kEnvelopeEnd);
}

void OrvCHEnvelope::probe() const {
    ORV_TRACE("    OrvCHEnvelope\n");
    ORV_TRACE("      MaxSize = %u\n", MaxSize);
    ORV_TRACE("      Type = %s\n", Type.c_str());
    ORV_TRACE("      ProfileName = %s\n", ProfileName.c_str());
    ORV_TRACE("      Subject = %s\n", Subject.c_str());
    for (std::size_t i = 0; i < Recipients.size(); ++i) {
        ORV_TRACE("      Recipient[%d] = %s\n", static_cast<int>(i), Recipients[i].c_str());
    }
}
