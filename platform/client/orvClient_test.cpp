#include "orvClient.h"

#include "MessageCodes.h"
#include "testing/platform/ClientTest.h"

#include <array>

using testing::IsEmpty;

namespace {

const std::array<std::uint8_t, 3> INFO{7, 8, 9};

class OrvClientTest : public ClientTest {
protected:
    struct Operation {
        const char* name;
        std::uint16_t code;
        std::function<int()> call;
        Bytes payload;
    };

    static Bytes withName(Bytes head, const std::string& name) {
        const std::size_t size = head.size() + 36;
        head.insert(head.end(), name.begin(), name.end());
        head.resize(size);
        return head;
    }

    std::vector<Operation> operations() {
        const Bytes head{0, 0, 0, 5, 0, 0, 0, 6};
        return {
            {"profile change", 101, [this] { return client_.CH_ProfileChangeResponse(5, 6); }, head},
            {"test", 102, [this] { return client_.CH_TestProfileResponse(5, 6, "p"); }, withName(head, "p")},
            {"clear queue", 103, [this] { return client_.CH_ClearQueueResponse(5, 6); }, head},
            {"processed",
             104,
             [this] { return client_.CH_ProfileProcessedInfoResponse(5, 6, INFO); },
             {0, 0, 0, 5, 0, 0, 0, 6, 7, 8, 9}},
            {"processed without info", 104, [this] { return client_.CH_ProfileProcessedInfoResponse(5, 6, {}); }, head},
            {"changeover", 105, [this] { return client_.CH_ChangeoverResponse(5, 6); }, head},
            {"queue",
             106,
             [this] { return client_.CH_MesgQInfoResponse(5, 6, INFO); },
             {0, 0, 0, 5, 0, 0, 0, 6, 7, 8, 9}},
            {"queue without info", 106, [this] { return client_.CH_MesgQInfoResponse(5, 6, {}); }, head},
            {"test results", 107, [this] { return client_.CH_TestProfileResults(6, "p"); },
             withName({0, 0, 0, 6}, "p")},
        };
    }

    orvClient client_;
};

}  // namespace

TEST_F(OrvClientTest, sendsNothingBeforeTheManagementComponentIsKnown) {
    joinAndInsert();
    EXPECT_FALSE(client_.ready());

    for (const Operation& each : operations()) {
        EXPECT_EQ(each.call(), -1) << each.name;
    }

    deliver();
    EXPECT_THAT(management_.messages, IsEmpty());
}

TEST_F(OrvClientTest, sendsEachResponseToTheManagementComponent) {
    joinAndInsert();
    client_.setReady(&component_, ServiceAddress::MANAGEMENT);
    EXPECT_TRUE(client_.ready());

    for (const Operation& each : operations()) {
        EXPECT_EQ(each.call(), 0) << each.name;

        const Hsb_Message message = onlyMessageOf(management_, MessageFormat::MANAGEMENT, each.code);
        EXPECT_EQ(bytesOf(message), each.payload) << each.name;
    }
}

TEST_F(OrvClientTest, failsWhenAResponseCannotBeSent) {
    joinAndInsert();
    client_.setReady(&component_, ServiceAddress::MANAGEMENT);
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::MANAGEMENT));

    for (const Operation& each : operations()) {
        EXPECT_EQ(each.call(), -1) << each.name;
    }
}
