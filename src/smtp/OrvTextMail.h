// The labelled lines of a mail: the header block of either kind, the lines about the event that several layouts share,
// and the body of a plain text mail in the layout that the envelope's format asks for.
#pragma once

#include "mesg/OrvCHMesg.h"
#include "smtp/OrvMailBuffer.h"

#include <string>

struct OrvIdentity;

// Everything that one mail is composed from, borrowed for the time of composing, the message's lock being held.
struct OrvMailSource {
    const OrvCHMesg& message;
    const OrvCHEnvelope& envelope;
    const OrvIdentity& identity;
    // The name or address under which the client presented itself to the mail server.
    const std::string& clientIdentity;
};

// The subject as a header shows it.
std::string orvMailSubject(const OrvMailSource& source);

// The header block, up to and including the empty lines that end it. Dated now.
void orvAddMailHeader(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());

// The message holds a log event. Formats are "Tsc1" and "FullText"; any other name gives the short layout.
void orvAddTextBody(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());

// Serial number, only when there is one.
void orvAddSerialNumber(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());
// Duplicate count in decimal, always.
void orvAddDuplicateCount(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());
// SwitchName, SwitchIP, SwitchWWN, Text, ID and Time; the time is the last duplicate's once there is one.
void orvAddEvent(OrvMailBuffer& buffer, const OrvMailSource& source, OrvMailBuffer::Empty empty)
    ORV_REQUIRES(source.message.lock());
