// One envelope's part of a dialogue: what every way to hold it shares, which is its recipients' marks and the entries
// about them.
//
// The envelope is changed under the message's lock, which is never held while the network is waited for. Send thread
// only.
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
    OrvEnvelopeDialogue(const OrvEnvelopeDialogue&) = delete;
    OrvEnvelopeDialogue& operator=(const OrvEnvelopeDialogue&) = delete;

protected:
    // What becomes of a recipient: profile, recipient, server and port.
    using RecipientEntry = OrvLogEntry<const char*, const char*, const char*, int>;
    using Envelope = OrvCHEnvelope;

    // About one recipient: what becomes of it, and the refusing reply.
    static constexpr std::size_t kEntriesARefusal = 2;

    // Client identity: as presented, without brackets. Both outlive the dialogue.
    OrvEnvelopeDialogue(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : parties_(parties), clientIdentity_(clientIdentity), changing_(envelope) {}
    ~OrvEnvelopeDialogue() = default;

    void traceBeginning() const;
    std::string senderAddress() const;
    void reportNobodyAccepted();
    // What becomes of a recipient, and the reply that refused it in this pass.
    void reportRecipient(const RecipientEntry& entry, std::size_t position) ORV_EXCLUDES(parties_.message.lock());
    // No recipient waits for another try.
    void setDone() ORV_EXCLUDES(parties_.message.lock());

    // The recipients' marks.
    void makeRoomForMarks() ORV_EXCLUDES(parties_.message.lock());
    char markAt(std::size_t position) const ORV_EXCLUDES(parties_.message.lock());
    void setMark(std::size_t position, char mark) ORV_EXCLUDES(parties_.message.lock());
    void replaceMarks(char mark, char by) ORV_EXCLUDES(parties_.message.lock());
    std::string addressAt(std::size_t position) const ORV_EXCLUDES(parties_.message.lock());

    const OrvSendParties& parties_;
    const std::string& clientIdentity_;

private:
    template <typename Action>
    auto atRecipient(std::size_t position, const Action& action) const ORV_EXCLUDES(parties_.message.lock());
    OrvEntryText addressForEntry(std::size_t position) const ORV_EXCLUDES(parties_.message.lock());

    OrvCHEnvelope& changing_ ORV_GUARDED_BY(parties_.message.lock());

protected:
    const OrvCHEnvelope& envelope_ = changing_;  // to look at what no other thread changes
    std::vector<std::string> refusals_;          // by position: the reply that refused a recipient in this pass
};
