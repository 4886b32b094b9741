// Test support: one dialogue of one message with one scripted server.
#pragma once

#include "testing/smtp/MailFixture.h"
#include "testing/smtp/SendFixture.h"
#include "testing/smtp/StagedSystem.h"

#include <memory>
#include <string>
#include <vector>

class DialogueTest : public MailTest {
protected:
    DialogueTest() { identity_.DNSClientEnable = false; }

    int run() {
        TestIdentity identity(identity_);
        inUse_ = &identity;
        OrvSMTPClient client(timeouts_, system_);
        OrvSendDialogue dialogue(client, identity.common(), reporter_, mailServerAt(server_), *message_);
        const int result = dialogue.run();
        failure_ = dialogue.failure();
        inUse_ = nullptr;
        EXPECT_FALSE(client.connected());
        return result;
    }

    OrvCHEnvelope& envelope(const std::string& profile, const std::vector<std::string>& recipients) {
        return addEnvelope(*message_, profile, recipients, "ShortText");
    }

    ScriptedReply line(const char* text) { return ScriptedReply::line(text); }

    OrvIdentity identity_ = fullIdentity();
    TestIdentity* inUse_ = nullptr;  // while the dialogue runs
    OrvSMTPTimeouts timeouts_;
    StagedSystem system_;
    ScriptedMailServer server_;
    RecordingReporter reporter_;
    const LogTexts log_{server_};
    std::unique_ptr<OrvCHMesg> message_ = portEvent();
    OrvSendFailure failure_;
};
