// Who is told the switch's addresses and name as the attribute store answers them. Main thread only.
//
// Called while the answer is being applied: an implementation must not call back into OrvCHMesgCommon.
#pragma once

#include <string>

class OrvIdentityListener {
public:
    virtual void identityAddressRead(const std::string& ipv4OrIpv6) = 0;
    virtual void identityWwnRead(const std::string& wwn) = 0;

protected:
    ~OrvIdentityListener() = default;
};
