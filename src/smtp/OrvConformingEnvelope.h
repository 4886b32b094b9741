// An envelope's part of the conforming dialogue: a mail that the server can take is offered, and what is refused about
// it is its recipients' fate.
//
// A refusal for good (5xx) gives a recipient up, one for now (4xx) puts it off. A server that is gone, that closes
// (421) or wants to know who we are first (530) has not judged the mail: then the dialogue has failed, and who was not
// refused stays as before. Marks are on flash as soon as they have changed: after a kill at most this mail comes once
// more. Send thread only.
#pragma once

#include "smtp/OrvEnvelopeDialogue.h"

#include <cstddef>
#include <string>
#include <vector>

struct OrvConformingMail;

class OrvConformingEnvelope final : private OrvEnvelopeDialogue {
public:
    OrvConformingEnvelope(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : OrvEnvelopeDialogue(parties, clientIdentity, envelope) {}

    // 0 when what this server can do is done, -1 when the dialogue has failed.
    [[nodiscard]] int run();

private:
    enum class Fate : char { kFinal, kOpen, kAccepted, kTaken, kPutOff, kGivenUp };

    bool begin();
    int converse();
    int deliver(OrvConformingMail& mail);
    int offerRecipients();
    int startAnew();
    int judge();
    void refuse(std::size_t position, const std::string& reply);
    void refuseRest(const std::string& reply);
    void settle();
    void report();
    void save() const;
    std::size_t count(Fate fate) const;
    std::size_t positionInMessage() const;

    std::vector<Fate> fates_;  // of the recipients, by position
};
