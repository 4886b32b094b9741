#include "mesg/OrvCHEnvelope.h"

#include "base/OrvNumber.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvMesgElement.h"
#include "mesg/OrvMesgTags.h"

static constexpr char kTraceModule[] = "OrvCHEnvelope";

using namespace orv_mesg_tags;

namespace {

// Elements that an envelope cannot do without.
enum Seen : unsigned { kSeenMaxSize = 1, kSeenType = 2, kSeenSubject = 4, kSeenRecipients = 8, kSeenWhole = 15 };

// Reads one envelope, element by element.
class Reader {
public:
    Reader(OrvCHEnvelope& envelope, std::istream& stream) : envelope_(envelope), stream_(stream) {}

    // Everything from the line after the opening tag to the closing tag.
    int read();

private:
    int take(const std::string& line);
    int takeMaxSize();
    int fail(const char* text);

    OrvCHEnvelope& envelope_;
    std::istream& stream_;
    unsigned seen_ = 0;
};

struct TextElement {
    std::string_view tag;
    std::string OrvCHEnvelope::*field;
    unsigned seen;
};

constexpr TextElement kTexts[] = {
    {kType, &OrvCHEnvelope::Type, kSeenType},
    {kProfile, &OrvCHEnvelope::ProfileName, 0},  // older files have none
    {kSubj, &OrvCHEnvelope::Subject, kSeenSubject},
};

int Reader::fail(const char* text) {
    orvTrace(kTraceModule, "restore", "%s", text);
    return -1;
}

int Reader::read() {
    std::string line;
    for (;;) {
        if (orvAtEnd(stream_)) {
            return fail("[FAIL] unexpected EOF\n");
        }
        orvReadLine(stream_, line);
        if (line == kEnvelopeEnd) {
            return seen_ == kSeenWhole ? 0 : fail("[FAIL] attributes missing\n");
        }
        if (take(line) < 0) {
            return -1;
        }
    }
}

int Reader::take(const std::string& line) {
    if (line == kMaxSize) {
        return takeMaxSize();
    }
    for (const TextElement& text : kTexts) {
        if (line == text.tag) {
            seen_ |= text.seen;
            return restoreThruDashTag(line, stream_, envelope_.*text.field);
        }
    }
    if (line == kRcptList) {
        seen_ |= kSeenRecipients;
        static_cast<void>(orvReadList(kRcptListEnd, stream_, envelope_.Recipients));  // a lost end shows next
        return 0;
    }
    if (line == kRcptListEnd) {
        return (seen_ & kSeenRecipients) != 0 ? 0 : fail("[FAIL] token out of order, RCPTENDTAG before RCPTSTARTTAG\n");
    }
    return orvIsOpeningTag(line) ? orvSkipElement(line, stream_) : fail("[FAIL] bad format\n");
}

int Reader::takeMaxSize() {
    std::string value;
    if (restoreThruDashTag(kMaxSize, stream_, value) < 0) {
        return -1;
    }
    // Kept: read as a signed number, so sizes above 2147483647 come back as that.
    envelope_.MaxSize = static_cast<std::uint32_t>(orvToSigned(value).value);
    seen_ |= kSeenMaxSize;
    return 0;
}

}  // namespace

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

int OrvCHEnvelope::restore(std::string line, std::istream& stream) {
    while (line != kEnvelope) {
        if (orvAtEnd(stream)) {
            ORV_TRACE("[FAIL] unexpected EOF\n");
            return -1;
        }
        orvReadLine(stream, line);
    }
    return Reader(*this, stream).read();
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
