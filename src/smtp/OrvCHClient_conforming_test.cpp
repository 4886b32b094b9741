// The send client with the conforming dialogue: what becomes of mails that servers refuse or put off, over hours.
#include "testing/smtp/OfflineClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class OrvCHClientConforming : public testing::Test {
protected:
    OrvCHClientConforming() { client_.useServers("1-192.0.2.1", ""); }

    void forRecipient(const std::string& address, const std::string& reply) {
        server_.script.setRecipient(address, ScriptedReply::line(reply));
    }
    // The seconds in which the server was asked to take a mail for this recipient.
    std::vector<std::uint32_t> triesFor(const std::string& address, std::uint32_t seconds) {
        std::vector<std::uint32_t> tries;
        for (std::uint32_t second = 0; second < seconds; ++second) {
            const std::size_t connections = server_.received.size();
            client_.tick();
            for (std::size_t i = connections; i < server_.received.size(); ++i) {
                if (server_.received[i].find("RCPT TO:<" + address + ">") != std::string::npos) {
                    tries.push_back(second);
                }
            }
        }
        return tries;
    }

    OfflineClient client_{orvConformingDialogue()};
    PlayedServer& server_ = client_.system().at("192.0.2.1");
};

}  // namespace

TEST_F(OrvCHClientConforming, triesWhoIsPutOffLaterAndLaterWhileOthersGoOn) {
    constexpr std::uint32_t kDay = 24 * 3600;
    forRecipient("grey@x", "451 later");
    client_.queueMail("first", {"grey@x"});
    client_.queueMail("second", {"b@x"});
    client_.queueMail("third", {"c@x", "d@x"});

    EXPECT_THAT(triesFor("grey@x", 4 * 3600), ElementsAre(0u, 5u, 305u, 905u, 2705u, 6305u, 9905u, 13505u));

    const auto& entries = client_.queue().entries();
    EXPECT_EQ(entries.front().gone, 0u) << "it waits for as long as the queue keeps it";
    EXPECT_EQ(server_.mails.size(), 2u);
    for (auto entry = std::next(entries.begin()); entry != entries.end(); ++entry) {
        EXPECT_EQ(entry->gone, 1u);
        EXPECT_EQ(entry->result, 0);
    }
    EXPECT_EQ(triesFor("grey@x", kDay).size(), 24u) << "each hour";
}

TEST_F(OrvCHClientConforming, mailsWhoWasPutOffAsSoonAsTheServerIsReady) {
    forRecipient("grey@x", "451 later");
    client_.queueMail("first", {"grey@x", "b@x"});
    client_.run(400);
    EXPECT_EQ(server_.mails.size(), 1u);

    forRecipient("grey@x", "250 now");
    client_.run(1000);

    ASSERT_EQ(server_.mails.size(), 2u);
    EXPECT_THAT(server_.mails.front().recipients, ElementsAre("b@x"));
    EXPECT_THAT(server_.mails.back().recipients, ElementsAre("grey@x"));
    EXPECT_EQ(client_.queue().entries().front().result, 0);
}

TEST_F(OrvCHClientConforming, givesUpWhatIsRefusedForGoodAndGoesOn) {
    server_.script.once(MailStage::kEndOfData, ScriptedReply::line("554 not this one"));
    client_.queueMail("first", {"a@x"});
    client_.queueMail("second", {"b@x"});

    client_.tick();

    EXPECT_EQ(client_.queue().entries().front().result, 1) << "somebody was given up";
    EXPECT_EQ(client_.queue().entries().back().result, 0);
    EXPECT_THAT(client_.takeLog(),
                ElementsAre(HasSubstr("did not accept any recipients"), HasSubstr("to recipient a@x failed"),
                            HasSubstr("SMTP error: 554 not this one")));
}

TEST_F(OrvCHClientConforming, saysInAProbeWhichDialogueItSpeaks) {
    EXPECT_THAT(client_.probed(),
                ElementsAre(HasSubstr("OrvCHClient probe: OrvCHClient probe:\n  SMTPGatewayEnabled = 1\n"),
                            "OrvCHClient probe: SMTP Dialogue Information:\n  SMTPDialogue = conforming\n\n"));
}

TEST(OrvCHClientRequired, saysNothingOfItsDialogueInAProbe) {
    OfflineClient client(orvRequiredDialogue());
    EXPECT_THAT(client.probed(), ElementsAre(HasSubstr("OrvCHClient probe: OrvCHClient probe:\n")));
}
