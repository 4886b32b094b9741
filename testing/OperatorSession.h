// An operator's side of the conversation, for the tests of the operator service.
#pragma once

#include "MessageCodes.h"
#include "switchd/services/OperatorWire.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gtest/gtest.h>

// A reply or a push with a body of its own.
struct OperatorAnswer {
    std::uint16_t code = 0;
    std::uint32_t tag = 0;
    OperatorStatus status = OperatorStatus::OK;
    std::string reason;
    WireBytes body;

    friend bool operator==(const OperatorAnswer&, const OperatorAnswer&) = default;
};

class OperatorSession {
public:
    explicit OperatorSession(LoopbackSwitch& sw) : sw_(sw), party_(sw.bus()) {}

    // Sends a request, runs the loop and gives the tag.
    std::uint32_t ask(std::uint16_t code, const WireBytes& body = {}) {
        party_.send(ServiceAddress::OPERATOR, OperatorCode::FORMAT, code, encodeFields(OperatorRequest{++tag_, body}));
        sw_.pump();
        return tag_;
    }
    template <typename Body>
    std::uint32_t ask(std::uint16_t code, const Body& body) {
        return ask(code, encodeFields(body));
    }

    // Everything that has come since the last time.
    std::vector<OperatorAnswer> answers() {
        sw_.pump();
        std::vector<OperatorAnswer> result;
        for (const Hsb_Message& message : party_.take()) {
            EXPECT_EQ(message.format(), OperatorCode::FORMAT);
            result.push_back(read(message));
        }
        return result;
    }
    // Asks for what is answered at once; the only answer, which must fit.
    template <typename Body>
    OperatorAnswer answerTo(std::uint16_t code, const Body& body) {
        const std::uint32_t tag = ask(code, body);
        const std::vector<OperatorAnswer> got = answers();
        EXPECT_EQ(got.size(), 1u);
        if (got.size() != 1) {
            return {};
        }
        EXPECT_EQ(got[0].code, OperatorCode::replyTo(code));
        EXPECT_EQ(got[0].tag, tag);
        return got[0];
    }
    OperatorAnswer answerTo(std::uint16_t code) { return answerTo(code, WireBytes()); }

    BusParty& party() { return party_; }

private:
    static OperatorAnswer read(const Hsb_Message& message) {
        OperatorAnswer answer;
        answer.code = message.code();
        if ((message.code() & 0x200) != 0) {
            const auto push = decodeFields<OperatorPush>(message.payload());
            EXPECT_TRUE(push.has_value());
            answer.tag = push->tag;
            answer.body.assign(push->body.begin(), push->body.end());
            return answer;
        }
        const auto reply = decodeFields<OperatorReply>(message.payload());
        EXPECT_TRUE(reply.has_value());
        answer.tag = reply->tag;
        answer.status = reply->status;
        answer.reason = reply->reason;
        answer.body.assign(reply->body.begin(), reply->body.end());
        return answer;
    }

    LoopbackSwitch& sw_;
    BusParty party_;
    std::uint32_t tag_ = 100;
};
