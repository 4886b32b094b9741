// Where the result of a capture goes: the profiles in use and the message queue. Main thread only.
#pragma once

#include <memory>
#include <string>

class OrvCHMesg;
class OrvCHProfile;

class OrvCaptureSink {
public:
    // The first active profile of exactly this name; null when there is none. It stays the owner's.
    virtual OrvCHProfile* profileByName(const std::string& name) = 0;
    // Takes the message in every case. 0, or -1 when the queue refused it.
    virtual int enqueue(std::unique_ptr<OrvCHMesg> mesg) = 0;

protected:
    ~OrvCaptureSink() = default;
};
