// Faults of recipients, and of one server of two: status names each, and its remedies end it.
#include "testing/switchctl/ProblemsTest.h"

namespace {

TEST_F(Problems, ofRecipientsEndWhenTheServerTakesThem) {
    const auto refuse = [&](const char* address, const char* words) {
        return [=, this] {
            server_.answerRecipient(address, ScriptedReply::line(words));
            happen();
        };
    };
    const auto take = [&](const char* address) {
        return [=, this] { server_.answerRecipient(address, ScriptedReply::line("250 ok")); };
    };
    expectAllMended({
        {"recipient-delayed", refuse("desk@x", "451 4.7.1 Greylisted"), take("desk@x")},
        {"recipient-refused", refuse("ops@x", "550 no such user"), take("ops@x")},
    });
}

TEST_F(Problems, ofOneServerOfTwoAreFailuresAndNoMore) {
    ScriptedMailServer second(ScriptedMailServer::Family::kIPv6);
    const std::string port = std::to_string(second.port());
    expectMended({"servers-same",
                  [&] {
                      done({"callhome", "setup", "--smtp2", "1-127.0.0.1:" + port});
                  },
                  [&] {
                      done({"callhome", "setup", "--smtp2", "2-[::1]:" + port});
                  }});
    expectMended({"server-spare",
                  [&] {
                      server_.refuseConnections();
                      happen();
                  },
                  [&] { server_.acceptConnections(); }});
    EXPECT_EQ(second.mailsTaken().size(), 1u);
}

}  // namespace
