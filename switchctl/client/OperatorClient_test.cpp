#include "switchctl/client/OperatorClient.h"

#include "MessageCodes.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "switchctl/text/Errors.h"
#include "testing/BusParty.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

// A switchd that says whatever the test tells it to.
class ScriptedSwitchd final : public TransportReceiver {
public:
    explicit ScriptedSwitchd(LoopbackBus& bus) : transport_(bus) {
        EXPECT_EQ(transport_.join(), 0);
        EXPECT_EQ(transport_.attachService(*this, ServiceAddress::OPERATOR), 0);
    }
    void receive(Hsb_Message& message) override {
        const auto request = decodeFields<OperatorRequest>(message.payload());
        ASSERT_TRUE(request);
        if (onRequest) {
            onRequest(message, request->tag);
        }
    }
    void send(const Hsb_Address& to, std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload) {
        Hsb_Message message(format, code, std::move(payload));
        message.source(ServiceAddress::OPERATOR);
        message.destination(to);
        EXPECT_EQ(transport_.send(message), 0);
    }
    void answer(const Hsb_Message& request, std::uint32_t tag, const OperatorReply& reply) {
        OperatorReply tagged = reply;
        tagged.tag = tag;
        send(request.source(), OperatorCode::FORMAT, OperatorCode::replyTo(request.code()), encodeFields(tagged));
    }
    void leave() { transport_.leave(); }

    std::function<void(const Hsb_Message&, std::uint32_t)> onRequest;

private:
    LoopbackTransport transport_;
};

class OperatorClientTest : public testing::Test {
protected:
    std::string reasonOf(const std::function<void()>& action) {
        try {
            action();
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    LoopbackBus bus_;
    ScriptedSwitchd switchd_{bus_};
    LoopbackTransport transport_{bus_};
    OperatorClient client_{
        [this](std::chrono::milliseconds) -> Transport* { return transport_.join() < 0 ? nullptr : &transport_; }};
};

TEST_F(OperatorClientTest, givesTheBodyOfTheAnswerWithItsOwnTag) {
    const WireBytes other = {9};
    const WireBytes own = {1, 2};
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        switchd_.answer(request, tag + 1, {0, OperatorStatus::OK, "", other});
        switchd_.answer(request, tag, {0, OperatorStatus::OK, "", own});
    };

    EXPECT_THAT(client_.call(OperatorCode::GET), ElementsAre(1, 2));
}

TEST_F(OperatorClientTest, throwsTheReasonOfARefusal) {
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        switchd_.answer(request, tag, {0, OperatorStatus::NO_COMPONENT, "not there", {}});
    };

    try {
        client_.call(OperatorCode::PROBE);
        FAIL();
    } catch (const Refused& error) {
        EXPECT_STREQ(error.what(), "not there");
        EXPECT_EQ(error.status, OperatorStatus::NO_COMPONENT);
    }
}

TEST_F(OperatorClientTest, givesUpAfterItsTimeout) {
    client_.timeout(std::chrono::milliseconds(100));

    EXPECT_EQ(reasonOf([&] { client_.call(OperatorCode::GET); }), "switchd did not answer in 0.1 s");
}

TEST_F(OperatorClientTest, blamesAnotherOnlyWhenSwitchdAnswers) {
    client_.timeout(std::chrono::milliseconds(100));
    EXPECT_EQ(reasonOf([&] { client_.call(OperatorCode::PROBE, {}, "orvApp"); }), "switchd did not answer in 0.1 s");

    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        if (request.code() == OperatorCode::COMPONENTS) {
            switchd_.answer(request, tag, {0, OperatorStatus::OK, "", {}});
        }
    };
    EXPECT_EQ(reasonOf([&] { client_.call(OperatorCode::PROBE, {}, "orvApp"); }), "orvApp did not answer in 0.1 s");
}

TEST_F(OperatorClientTest, sendsNoChangeToASwitchdThatIsSilent) {
    client_.timeout(std::chrono::milliseconds(100));
    std::vector<std::uint16_t> requests;
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t) { requests.push_back(request.code()); };

    EXPECT_EQ(reasonOf([&] { client_.change(OperatorCode::CHANGE); }), "switchd did not answer in 0.1 s");
    EXPECT_THAT(requests, ElementsAre(OperatorCode::COMPONENTS));
}

TEST_F(OperatorClientTest, saysThatAChangeWithoutAnAnswerMayStillBeDone) {
    client_.timeout(std::chrono::milliseconds(100));
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        if (request.code() == OperatorCode::COMPONENTS) {
            switchd_.answer(request, tag, {0, OperatorStatus::OK, "", {}});
        }
    };

    EXPECT_EQ(reasonOf([&] { client_.change(OperatorCode::CHANGE); }),
              "switchd did not answer in 0.1 s; it may still be done");
    EXPECT_EQ(reasonOf([&] { client_.change(OperatorCode::MANAGEMENT, {}, "orvApp"); }),
              "orvApp did not answer in 0.1 s; it may still be done");
}

TEST_F(OperatorClientTest, doesNotTakeAnAnswerThatItCannotRead) {
    const WireBytes body = {1, 2, 3};
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        switchd_.send(request.source(), OperatorCode::FORMAT, OperatorCode::replyTo(request.code()), {1, 2});
        switchd_.answer(request, tag, {0, OperatorStatus::OK, "", body});
    };

    const WireBytes bytes = client_.call(OperatorCode::COMPONENTS);

    EXPECT_EQ(reasonOf([&] { OperatorClient::decode<ComponentList>(bytes); }),
              "switchd's answer cannot be read; are switchd and switchctl of one version?");
}

TEST_F(OperatorClientTest, listensToNobodyButTheSwitch) {
    BusParty stranger(bus_);
    client_.timeout(std::chrono::milliseconds(100));
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        stranger.send(request.source(), OperatorCode::FORMAT, OperatorCode::replyTo(request.code()),
                      encodeFields(OperatorReply{tag, OperatorStatus::OK, "", {}}));
    };

    EXPECT_EQ(reasonOf([&] { client_.call(OperatorCode::GET); }), "switchd did not answer in 0.1 s");
}

TEST_F(OperatorClientTest, handsWhatIsPushedToItsStream) {
    const WireBytes pushed = {7};
    std::vector<std::uint8_t> got;
    switchd_.onRequest = [&](const Hsb_Message& request, std::uint32_t tag) {
        switchd_.answer(request, tag, {0, OperatorStatus::OK, "", {}});
        switchd_.send(request.source(), OperatorCode::FORMAT, OperatorCode::LOG_LINES,
                      encodeFields(OperatorPush{tag + 1, pushed}));
        switchd_.send(request.source(), OperatorCode::FORMAT, OperatorCode::LOG_LINES,
                      encodeFields(OperatorPush{tag, pushed}));
    };

    client_.open(OperatorCode::FOLLOW_LOG, {}, [&](WireSpan body) { got.insert(got.end(), body.begin(), body.end()); });

    EXPECT_TRUE(client_.serveUntil([&] { return !got.empty(); }));
    EXPECT_THAT(got, ElementsAre(7));
}

TEST_F(OperatorClientTest, noticesThatTheBusIsLost) {
    switchd_.onRequest = [&](const Hsb_Message&, std::uint32_t) { transport_.breakConnection(); };

    EXPECT_EQ(reasonOf([&] { client_.call(OperatorCode::GET); }), "switchd has left the bus");
}

}  // namespace
