// The mails that the daemon makes of a message, composed by its own code from the switch's attributes.
//
// Byte for byte what follows DATA, but for the date and, of a capture, the boundary, which are made anew with each
// mail.
#pragma once

#include "profile/OrvCHMesgCommon.h"

#include <map>
#include <string>
#include <vector>

class OrvCHMesg;
struct OrvCHEnvelope;

class MailMaker final : private OrvConfigListener, private OrvIdentityListener {
public:
    // With the values of the identity's attributes (orvIdentityKeys) that are set. The name under which the daemon
    // presents itself to mail servers; "": the one that it would choose.
    MailMaker(const std::map<std::string, std::string>& attributes, std::string presentedAs);

    // Throws Refused when it is no message that can be mailed.
    std::string compose(const OrvCHMesg& message, const OrvCHEnvelope& envelope) const;
    // Whom the mail comes from.
    std::string sender() const { return identity_.current().From; }

private:
    void configComplete(unsigned /*bit*/) override {}
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}

    dsClient store_;
    OrvCHMesgCommon identity_{store_, *this, *this};
    std::string presentedAs_;
};
