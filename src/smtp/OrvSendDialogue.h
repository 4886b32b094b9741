// One message's conversation with one mail server: its envelopes in order, and what becomes of each recipient.
//
// Marks the recipients and finished envelopes in the message, each change under the message's lock, which is never
// held while the network is waited for. Send thread only.
#pragma once

#include "dbg/OrvEventLog.h"
#include "smtp/OrvCHClientMesgs.h"
#include "smtp/OrvMailComposer.h"
#include "smtp/OrvSMTPClient.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

class OrvCHMesg;
class OrvCHMesgCommon;
struct OrvCHEnvelope;
struct OrvIdentity;

// As much of a text as an entry of the event log takes.
using OrvEntryText = std::array<char, 512>;

// Whom the dialogue tells what the operator must see, and what it needs to know of the sends before it.
class OrvSendReporter {
public:
    // So many more entries can be logged without memory. Throws std::bad_alloc.
    virtual void makeRoomForEntries(std::size_t count) = 0;
    // An entry for the event log; the text is copied. Without room made for it, and without memory, the thread ends.
    virtual void logSend(const OrvLogKind& entry, const char* text) = 0;
    // The same, filling the text in without asking for memory.
    template <typename... Arguments>
    void report(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) {
        OrvEntryText text;
        orvFillEntry(text, entry, arguments...);
        logSend(entry, text.data());
    }
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

    // All but the server outlive the dialogue. Throws std::bad_alloc.
    OrvSendDialogue(OrvSMTPClient& client, const OrvCHMesgCommon& identity, OrvSendReporter& reporter, Server server,
                    OrvCHMesg& message);

    // Holds the conversation once, from connecting to closing. 0 when it went to its end, whatever became of the
    // recipients; -1 when it failed, and failure() tells how. A step that finds no memory has failed like one that the
    // server refused. Once the server has taken a mail, neither the marks nor the entries need any: room for them has
    // been made before.
    [[nodiscard]] int run();
    // What every failure that does not follow another one tells the operator.
    static void reportCriticalFailure(OrvSendReporter& reporter);
    const OrvSendFailure& failure() const { return failure_; }
    OrvSendFailure takeFailure() { return std::move(failure_); }

private:
    // Runs a step of the dialogue: its result, or -1 after an exception, which is then why the dialogue fails.
    template <typename Step>
    int attempt(const Step& step) {
        try {
            return step();
        } catch (const std::exception& error) {
            noteException(error.what());
            return -1;
        }
    }
    // Runs what the dialogue can do without.
    template <typename Step>
    static void tryTo(const Step& step) {
        try {
            step();
        } catch (const std::exception& error) {
            traceException(error.what());
        }
    }
    void noteException(const char* what);
    static void traceException(const char* what);

    int presentClient();
    int sendEnvelope(OrvCHEnvelope& envelope);
    std::string senderAddress() const;
    int offerRecipients(OrvCHEnvelope& envelope);
    int offerRecipient(OrvCHEnvelope& envelope, std::size_t position);
    void refuseEnvelope(const OrvCHEnvelope& envelope);
    int deliverText(const OrvCHEnvelope& envelope);
    void settleRecipients(OrvCHEnvelope& envelope);
    bool settleRecipient(OrvCHEnvelope& envelope, std::size_t position);
    // What becomes of a recipient: profile, recipient, server and port.
    using RecipientEntry = OrvLogEntry<const char*, const char*, const char*, int>;
    void reportRecipient(const RecipientEntry& entry, const OrvCHEnvelope& envelope, std::size_t position);
    OrvEntryText addressForEntry(const OrvCHEnvelope& envelope, std::size_t position) const;
    int endInFailure(bool presented);

    void makeRoomForMarks(OrvCHEnvelope& envelope) const;
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
    std::array<char, 64> exception_{};   // what ended the dialogue, a text; empty when the server or the network did
    OrvSendFailure failure_;
};
