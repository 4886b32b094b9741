// One envelope's part of a dialogue: its recipients offered, its text delivered, and the recipients' states settled.
//
// The envelope is changed under the message's lock, which is never held while the network is waited for. What
// was tried in vain is undone, by an exception too; a recipient that was refused before stays so. Send thread only.
#pragma once

#include "mesg/OrvCHMesg.h"
#include "smtp/OrvMailServers.h"
#include "smtp/OrvSMTPClient.h"
#include "smtp/OrvSendReporter.h"

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

class OrvCHMesgCommon;

// Between whom a dialogue is held, and about what. All but the server outlive it.
struct OrvSendParties {
    OrvSMTPClient& client;
    const OrvCHMesgCommon& identity;
    OrvSendReporter& reporter;
    const OrvMailServer server;
    OrvCHMesg& message;
};

// Runs what a dialogue can do without; an exception is traced.
void orvTraceException(const char* what);
template <typename Step>
void orvTryTo(const Step& step) {
    try {
        step();
    } catch (const std::exception& error) {
        orvTraceException(error.what());
    }
}

class OrvEnvelopeDialogue {
public:
    // Client identity: as presented, without brackets. Both outlive the dialogue.
    OrvEnvelopeDialogue(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : parties_(parties), clientIdentity_(clientIdentity), changing_(envelope) {}

    // 0 when every recipient's state is settled, -1 when the dialogue has failed.
    [[nodiscard]] int run();

private:
    // What becomes of a recipient: profile, recipient, server and port.
    using RecipientEntry = OrvLogEntry<const char*, const char*, const char*, int>;

    std::string senderAddress() const;
    int offerRecipients();
    int offerRecipient(std::size_t position);
    void refuseEnvelope();
    int deliverText();
    void settleRecipients();
    bool settleRecipient(std::size_t position);
    void reportRecipient(const RecipientEntry& entry, std::size_t position);

    // The recipients' marks.
    template <typename Action>
    auto atRecipient(std::size_t position, const Action& action) const;
    void makeRoomForMarks();
    char markAt(std::size_t position) const;
    void setMark(std::size_t position, char mark);
    void replaceMarks(char mark, char by);
    std::string addressAt(std::size_t position) const;
    OrvEntryText addressForEntry(std::size_t position) const;

    const OrvSendParties& parties_;
    const std::string& clientIdentity_;
    OrvCHEnvelope& changing_ ORV_GUARDED_BY(parties_.message.lock());
    const OrvCHEnvelope& envelope_ = changing_;  // to look at what no other thread changes
    std::size_t accepted_ = 0;                   // recipients
    std::vector<std::string> refusals_;          // by position: the reply that refused a recipient in this pass
};
