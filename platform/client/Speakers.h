// Whose word counts with a component.
//
// The transport vouches for who sent a message; here stands which formats it must have been a service for. Without that
// anybody on the bus could answer for the attribute store. Main thread only.
#pragma once

class Hsb_Message;

class Speakers {
public:
    // May this sender say this to a component? What may not is told to syslog, now and then.
    static bool allow(const Hsb_Message& message);
};
