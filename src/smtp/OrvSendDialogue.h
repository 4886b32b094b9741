// One message's conversation with one mail server: its envelopes in order, and what becomes of each recipient.
//
// Marks the recipients and finished envelopes in the message, each change under the message's lock, which is never
// held while the network is waited for. Send thread only.
#pragma once

#include "smtp/OrvCHClientMesgs.h"
#include "smtp/OrvMailComposer.h"
#include "smtp/OrvSMTPClient.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class OrvCHMesg;
class OrvCHMesgCommon;
struct OrvCHEnvelope;
struct OrvIdentity;

// Whom the dialogue tells what the operator must see, and what it needs to know of the sends before it.
class OrvSendReporter {
public:
    // An entry for the event log.
    virtual void logSend(int level, std::uint32_t id, const std::string& text) = 0;
    // The send before this one failed.
    virtual bool isRetryPending() const = 0;

protected:
    ~OrvSendReporter() = default;
};

class OrvSendDialogue {
public:
    struct Server {
        SmtpAddrMode kind = SmtpAddrMode::kIPv4;
        std::string address;
        std::uint32_t port = 0;
    };

    // All but the server outlive the dialogue.
    OrvSendDialogue(OrvSMTPClient& client, const OrvCHMesgCommon& identity, OrvSendReporter& reporter, Server server,
                    OrvCHMesg& message);

    // Holds the conversation once, from connecting to closing. 0 when it went to its end, whatever became of the
    // recipients; -1 when it failed, and failure() tells how.
    [[nodiscard]] int run();
    const OrvSendFailure& failure() const { return failure_; }

private:
    int presentClient();
    int sendEnvelope(OrvCHEnvelope& envelope);
    std::string senderAddress() const;
    int offerRecipients(OrvCHEnvelope& envelope);
    int offerRecipient(OrvCHEnvelope& envelope, std::size_t position);
    void refuseEnvelope(const OrvCHEnvelope& envelope);
    int deliverText(const OrvCHEnvelope& envelope);
    void settleRecipients(OrvCHEnvelope& envelope);
    bool settleRecipient(OrvCHEnvelope& envelope, std::size_t position);
    void reportRecipient(std::uint32_t id, OrvCHEnvelope& envelope, std::size_t position, const char* outcome);
    int endInFailure(bool presented);

    char markAt(OrvCHEnvelope& envelope, std::size_t position) const;
    void setMark(OrvCHEnvelope& envelope, std::size_t position, char mark) const;
    std::string addressAt(OrvCHEnvelope& envelope, std::size_t position) const;
    void replaceMarks(OrvCHEnvelope& envelope, char mark, char by) const;

    OrvSMTPClient& client_;
    const OrvCHMesgCommon& identity_;
    const OrvMailComposer composer_;
    OrvSendReporter& reporter_;
    const Server server_;
    OrvCHMesg& message_;

    std::string clientIdentity_;         // as presented, without brackets
    std::size_t accepted_ = 0;           // recipients of the envelope in hand
    std::vector<std::string> refusals_;  // by position: the reply that refused a recipient in this pass
    OrvSendFailure failure_;
};
