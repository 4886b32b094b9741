#include "smtp/OrvMailComposer.h"

#include "base/OrvMutex.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"
#include "smtp/OrvMimeMail.h"
#include "smtp/OrvTextMail.h"

#include <algorithm>

namespace {

// What a mail takes beside its message's text, attachments left out.
constexpr std::uint64_t kOrdinaryMail = 4096;

}  // namespace

int OrvMailComposer::compose(const OrvCHMesg& message, const OrvCHEnvelope& envelope, const std::string& clientIdentity,
                             std::string& text) const {
    OrvMailBuffer buffer(envelope.MaxSize);
    OrvMimeAttachments attachments;
    const CronCaptureData* capture = message.cronCapture();
    if (capture == nullptr && message.logEvent() == nullptr) {
        return -1;
    }
    {
        // In this order: waiting for the identity may take as long as its re-read, and the main thread needs the
        // message's lock meanwhile.
        const OrvCHMesgCommon::Reader identity(identity_);
        const OrvMailSource source{message, envelope, *identity, clientIdentity};
        const Mt::Lock lock(source.message.lock());
        buffer.reserve(std::min<std::uint64_t>(message.Text.size(), envelope.MaxSize) + kOrdinaryMail);
        orvAddMailHeader(buffer, source);
        if (capture == nullptr) {
            orvAddTextBody(buffer, source);
        } else {
            orvAddMimeTextPart(buffer, source);
            attachments = {
                capture->Boundary, capture->Sequence, {capture->Attachments.begin(), capture->Attachments.end()}};
        }
        buffer.traceLines();
    }
    if (capture != nullptr) {
        orvAddMimeAttachments(buffer, attachments);
    }
    text = buffer.take();
    return 0;
}
