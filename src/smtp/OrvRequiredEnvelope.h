// An envelope's part of the required dialogue: its recipients offered, its text delivered, and the recipients' states
// settled.
//
// What was tried in vain is undone, by an exception too; a recipient that was refused before stays so. Send thread
// only.
#pragma once

#include "smtp/OrvEnvelopeDialogue.h"

#include <cstddef>

class OrvRequiredEnvelope final : private OrvEnvelopeDialogue {
public:
    OrvRequiredEnvelope(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : OrvEnvelopeDialogue(parties, clientIdentity, envelope) {}

    // 0 when every recipient's state is settled, -1 when the dialogue has failed.
    [[nodiscard]] int run();

private:
    int offerRecipients();
    int offerRecipient(std::size_t position);
    void refuseEnvelope();
    int deliverText();
    void settleRecipients();
    bool settleRecipient(std::size_t position);

    std::size_t accepted_ = 0;  // recipients
};
