// Turns a message and one of its envelopes into the text that follows DATA.
//
// Used by the send thread. The switch's identity stays as it is, and the message's texts too, while header and text
// part are composed; attachments are read after both have been let go. What cannot be had is explained in the mail:
// only a message of an unknown kind fails.
#pragma once

#include "mesg/OrvCHMesg.h"

#include <cstdint>
#include <string>

class OrvCHMesgCommon;

class OrvMailComposer {
public:
    // The identity outlives the composer.
    explicit OrvMailComposer(const OrvCHMesgCommon& identity) : identity_(identity) {}

    // Waits while a re-read of the identity is outstanding. 0, or -1 when the message is neither a log event nor a
    // capture.
    [[nodiscard]] int compose(const OrvCHMesg& message, const OrvCHEnvelope& envelope,
                              const std::string& clientIdentity, std::string& text) const ORV_EXCLUDES(message.lock());

private:
    const OrvCHMesgCommon& identity_;
};
