// Everything that one mail is composed from, borrowed for the time of composing.
#pragma once

#include <string>

class OrvCHMesg;
struct OrvCHEnvelope;
struct OrvIdentity;

struct OrvMailSource {
    const OrvCHMesg& message;
    const OrvCHEnvelope& envelope;
    const OrvIdentity& identity;
    // The name or address under which the client presented itself to the mail server.
    const std::string& clientIdentity;
};
