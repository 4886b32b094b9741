// Test support: dialogues of one message with one server, without sockets and without waiting.
#pragma once

#include "smtp/OrvSendDialogue.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/PlayedSystem.h"
#include "testing/smtp/SendFixture.h"

#include <memory>
#include <string>
#include <vector>

class PlayedDialogueTest : public MailTest {
protected:
    PlayedDialogueTest() { identity_.DNSClientEnable = false; }

    int run() {
        const TestIdentity identity(identity_);
        OrvSMTPClient client({}, system_, dialogue_);
        OrvMailServer server;
        server.Address = kAddress;
        server.Port = 25;
        OrvSendDialogue dialogue(client, identity.common(), reporter_, server, *message_);
        const int result = dialogue.run();
        failure_ = dialogue.failure();
        return result;
    }

    void answer(MailStage stage, const std::string& line) { server_.script.set(stage, ScriptedReply::line(line)); }
    void answerOnce(MailStage stage, const std::string& line) { server_.script.once(stage, ScriptedReply::line(line)); }

    // What the client said on its last connection, line by line, texts included.
    std::vector<std::string> said() const {
        std::vector<std::string> lines;
        std::string rest = server_.received.back();
        for (std::size_t end = rest.find("\r\n"); end != std::string::npos; end = rest.find("\r\n")) {
            lines.push_back(rest.substr(0, end));
            rest.erase(0, end + 2);
        }
        EXPECT_EQ(rest, "");
        return lines;
    }

    static constexpr char kAddress[] = "192.0.2.1";

    const OrvSMTPDialogue& dialogue_ = orvConformingDialogue();
    OrvIdentity identity_ = fullIdentity();
    PlayedSystem system_;
    PlayedServer& server_ = system_.at(kAddress);
    RecordingReporter reporter_;
    std::unique_ptr<OrvCHMesg> message_ = portEvent();
    OrvSendFailure failure_;
};
