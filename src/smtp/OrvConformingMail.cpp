#include "smtp/OrvConformingMail.h"

#include "base/OrvMutex.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "mesg/OrvCHMesg.h"
#include "profile/OrvCHMesgCommon.h"
#include "smtp/OrvMailText.h"
#include "smtp/OrvMimeMail.h"
#include "smtp/OrvTextMail.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <utility>

namespace {

// Whatever stands before it is ended first (RFC 2046, section 5.1.1).
void addBoundary(OrvMailBuffer& buffer, const std::string& boundary, const char* behind) {
    if (!buffer.text().ends_with(kOrvLineEnd)) {
        buffer.append(kOrvLineEnd);
    }
    buffer.append("--" + boundary + behind + kOrvLineEnd);
}

void beginPart(OrvMailBuffer& buffer, const std::string& boundary) {
    addBoundary(buffer, boundary, "");
}

constexpr OrvMimeParts kParts{addBoundary, beginPart};

// FNV-1a, with a field's end after each text.
class Digest {
public:
    void add(std::string_view text) {
        for (const char byte : text) {
            addByte(static_cast<unsigned char>(byte));
        }
        addByte(0);
    }
    std::string text() const {
        return orvFormat("%016llx%016llx", static_cast<unsigned long long>(one_),
                         static_cast<unsigned long long>(two_));
    }

private:
    void addByte(unsigned char byte) {
        constexpr std::uint64_t kPrime = 0x100000001B3;
        one_ = (one_ ^ byte) * kPrime;
        two_ = (two_ ^ (byte + 1U)) * kPrime;
    }

    std::uint64_t one_ = 0xCBF29CE484222325;
    std::uint64_t two_ = 0x84222325CBF29CE4;
};

// The same for every try and after a restart: made of what the message's file holds, of the switch, and of no moment. A
// mail about repeats is another one than that about the event.
std::string messageId(const OrvMailSource& source, std::size_t position) ORV_REQUIRES(source.message.lock()) {
    const OrvCHMesg& message = source.message;
    Digest digest;
    digest.add(source.identity.WWN);
    digest.add(source.identity.SerialNum);
    digest.add(message.ID);
    digest.add(message.Time);
    digest.add(message.duplicateKey());
    digest.add(source.envelope.ProfileName);
    digest.add(std::to_string(source.message.DuplicateCount));
    digest.add(std::to_string(position));
    std::string host = "switch";
    std::copy_if(source.identity.WWN.begin(), source.identity.WWN.end(), std::back_inserter(host),
                 [](unsigned char byte) { return std::isxdigit(byte) != 0; });
    return "<" + digest.text() + "@" + host + ".callhome>";
}

// RFC 5322, section 3.6. Who gets the mail is the server's to know only.
std::string header(const OrvMailSource& source, std::size_t position) ORV_REQUIRES(source.message.lock()) {
    const OrvIdentity& identity = source.identity;
    std::string text;
    orvAddHeader(text, "Date: ", orvInternetDateText(orvCalendarNow()));
    orvAddHeader(text, "From: ", identity.From);
    orvAddHeader(text, "To: ", "undisclosed-recipients:;");
    if (!orvIsDefaultSender(identity.ReplyTo)) {
        orvAddHeader(text, "Reply-To: ", identity.ReplyTo);
    }
    orvAddHeader(text, "Subject: ", orvMailSubject(source));
    orvAddHeader(text, "Message-ID: ", messageId(source, position));
    orvAddHeader(text, "MIME-Version: ", "1.0");
    return text;
}

// The readable lines, complete ones only: what fills a mail up to its limit is left out.
std::string readableLines(const OrvMailSource& source, std::size_t used) ORV_REQUIRES(source.message.lock()) {
    constexpr std::size_t kPartHeader = 100;
    const std::uint32_t limit = source.envelope.MaxSize;
    OrvMailBuffer buffer(limit - static_cast<std::uint32_t>(std::min<std::size_t>(used + kPartHeader, limit)));
    if (source.message.cronCapture() != nullptr) {
        orvAddCaptureText(buffer, source);
    } else {
        orvAddTextBody(buffer, source);
    }
    std::string lines = buffer.take();
    lines.erase(lines.find_last_not_of(' ') + 1);
    orvMakeLines(lines);
    return lines;
}

// A readable part with what its characters need said of them.
std::string readablePart(const std::string& lines, bool eightBit, OrvCharset charset) {
    const bool ascii = charset == OrvCharset::kAscii;
    const char* const encoding = ascii ? "7bit" : eightBit ? "8bit" : "quoted-printable";
    std::string part = orvFormat("Content-Type: text/plain; charset=%s\r\nContent-Transfer-Encoding: %s\r\n\r\n",
                                 orvCharsetName(charset), encoding);
    return part.append(ascii || eightBit ? lines : orvQuotedPrintable(lines));
}

}  // namespace

int OrvConformingMail::compose(const Source& whole, bool mayBeEightBit) {
    const OrvCHMesg& message = whole.message;
    const CronCaptureData* const capture = message.cronCapture();
    if (capture == nullptr && message.logEvent() == nullptr) {
        return -1;
    }
    OrvMailBuffer buffer(whole.envelope.MaxSize);
    std::string lines;
    OrvMimeAttachments attachments;
    {
        // In this order, as everywhere.
        const OrvCHMesgCommon::Reader identity(whole.identity);
        const OrvMailSource source{message, whole.envelope, *identity, whole.clientIdentity};
        const Mt::Lock lock(source.message.lock());
        buffer.append(header(source, whole.position));
        lines = readableLines(source, buffer.text().size());
        if (capture != nullptr) {
            attachments = {capture->Boundary,
                           capture->Sequence,
                           {capture->Attachments.begin(), capture->Attachments.end()},
                           &kParts};
        }
    }
    const OrvCharset charset = orvCharsetOf(lines);
    eightBit = mayBeEightBit && charset != OrvCharset::kAscii;
    if (capture != nullptr) {
        buffer.append(orvFormat("Content-Type: multipart/mixed; boundary=\"%s\"\r\n%s\r\n",
                                attachments.boundary.c_str(), eightBit ? "Content-Transfer-Encoding: 8bit\r\n" : ""));
        orvAddMimePreamble(buffer);
        beginPart(buffer, attachments.boundary);
    }
    buffer.append(readablePart(lines, eightBit, charset));
    if (capture != nullptr) {
        orvAddMimeAttachments(buffer, attachments);
    }
    text = buffer.take();
    orvMakeLines(text);
    return 0;
}
