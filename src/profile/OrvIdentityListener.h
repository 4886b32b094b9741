// Who is told the switch's addresses and world wide name as the attribute store answers them. Main thread only.
//
// Called value by value while the answer is being taken in, before any of it counts: OrvCHMesgCommon still shows the
// identity before, what is set there meanwhile is lost, and an answer that finds no memory never comes to count.
#pragma once

#include <string>

class OrvIdentityListener {
public:
    virtual void identityAddressRead(const std::string& ipv4OrIpv6) = 0;
    virtual void identityWwnRead(const std::string& wwn) = 0;

protected:
    ~OrvIdentityListener() = default;
};
