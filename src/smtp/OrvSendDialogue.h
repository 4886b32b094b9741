// One message's conversation with one mail server: from connecting to closing, its envelopes in order.
//
// Marks the recipients and finished envelopes in the message, each change under the message's lock. Send thread only.
#pragma once

#include "smtp/OrvEnvelopeDialogue.h"

#include <array>
#include <exception>
#include <string>
#include <utility>

// How a dialogue failed.
struct OrvSendFailure {
    std::string reason;       // name of the SMTP error
    std::string description;  // the system's, the resolver's or a fixed text
    std::string response;     // the last refusing reply
};

class OrvSendDialogue {
public:
    // All but the server outlive the dialogue. Throws std::bad_alloc.
    OrvSendDialogue(OrvSMTPClient& client, const OrvCHMesgCommon& identity, OrvSendReporter& reporter,
                    OrvMailServer server, OrvCHMesg& message);

    // Holds the conversation once. 0 when it went to its end, whatever became of the recipients; -1 when it failed,
    // and failure() tells how. A step that finds no memory has failed like one that the server refused. Once the
    // server has taken a mail, neither the marks nor the entries need any: room for them has been made before.
    [[nodiscard]] int run() ORV_EXCLUDES(parties_.message.lock());
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
    void noteException(const char* what);
    int presentClient();
    int sendEnvelopes();
    void sayGoodbye();
    int endInFailure(bool presented);

    const OrvSendParties parties_;
    std::string clientIdentity_;        // as presented, without brackets
    std::array<char, 64> exception_{};  // what ended the dialogue, a text; empty when the server or the network did
    OrvSendFailure failure_;
};
