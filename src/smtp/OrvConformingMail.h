// Turns a message and one of its envelopes into a mail as RFC 5322 and RFC 2045 have it.
//
// The lines of the body, the attachments and the envelope's limit are those of every mail; header, character set and
// encoding are this one's own. Send thread only.
#pragma once

#include "mesg/OrvCHMesg.h"

#include <cstddef>
#include <string>

class OrvCHMesgCommon;

struct OrvConformingMail {
    std::string text;       // each line ended by CR LF
    bool eightBit = false;  // holds characters beyond ASCII as they are

    // Whom a mail is about, and for. The position is the envelope's among its message's.
    struct Source {
        const OrvCHMesgCommon& identity;
        const OrvCHMesg& message;
        const OrvCHEnvelope& envelope;
        const std::string& clientIdentity;
        std::size_t position;
    };
    // Waits while a re-read of the identity is outstanding. mayBeEightBit: the server takes such texts as they are. 0,
    // or -1 when the message is neither a log event nor a capture.
    [[nodiscard]] int compose(const Source& source, bool mayBeEightBit) ORV_EXCLUDES(source.message.lock());
};
