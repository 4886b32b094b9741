#include "dsClient.h"

#include "MessageCodes.h"
#include "platform/wire/DsWire.h"
#include "testing/platform/ClientTest.h"

#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Callbacks final : public DSCallbacks {
public:
    void DSApiReady() override {
        ++ready;
        onReady();
    }

    int ready = 0;
    std::function<void()> onReady = [] {};
};

class DsClientTest : public ClientTest {
protected:
    void connect() {
        joinAndInsert();
        ASSERT_GT(client_.init(&component_, &callbacks_), 0);
        onlyMessageOf(attributes_, MessageFormat::DS, DsCode::CONNECT);
    }
    void answerConnect() {
        sendToComponent(ServiceAddress::ATTRIBUTES, MessageFormat::DS, DsCode::CONNECTED, encodeFields(DsConnect{}));
    }

    Callbacks callbacks_;
    dsClient client_;
};

}  // namespace

TEST_F(DsClientTest, asksTheStoreToConnectItsOwner) {
    joinAndInsert();

    EXPECT_GT(client_.init(&component_, &callbacks_), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(attributes_, MessageFormat::DS, DsCode::CONNECT)), (Bytes{0, 0, 0, 1}));
    EXPECT_EQ(callbacks_.ready, 0) << "the store has not answered yet";
}

TEST_F(DsClientTest, tellsItsUserWhenTheStoreHasAnswered) {
    connect();

    answerConnect();

    EXPECT_EQ(callbacks_.ready, 1);
    EXPECT_THAT(component_.messages, IsEmpty()) << "the answer is not the component's";
}

TEST_F(DsClientTest, tellsItsUserOncePerInit) {
    connect();
    answerConnect();

    answerConnect();
    EXPECT_EQ(callbacks_.ready, 1);
    EXPECT_THAT(component_.messages, IsEmpty());

    ASSERT_GT(client_.init(&component_, &callbacks_), 0);
    answerConnect();
    EXPECT_EQ(callbacks_.ready, 2);
}

TEST_F(DsClientTest, doesNotTakeAnAnswerThatCannotBeRead) {
    connect();

    sendToComponent(ServiceAddress::ATTRIBUTES, MessageFormat::DS, DsCode::CONNECTED, {1, 2});
    EXPECT_EQ(callbacks_.ready, 0);

    answerConnect();
    EXPECT_EQ(callbacks_.ready, 1);
}

TEST_F(DsClientTest, keepsTheExceptionsOfItsUser) {
    connect();
    callbacks_.onReady = [] { throw std::runtime_error("ready"); };

    answerConnect();

    EXPECT_EQ(callbacks_.ready, 1);
}

TEST_F(DsClientTest, cannotConnectWithoutBusSlotOrUser) {
    EXPECT_EQ(client_.init(&component_, &callbacks_), 0);
    join();
    EXPECT_EQ(client_.init(&component_, &callbacks_), 0);
    EXPECT_EQ(client_.init(nullptr, &callbacks_), 0);
    ASSERT_EQ(slot_.insert(&component_), 0);
    EXPECT_EQ(client_.init(&component_, nullptr), 0);
}

TEST_F(DsClientTest, cannotConnectWhenTheRequestCannotBeSent) {
    joinAndInsert();
    bus_.refuse(LoopbackBus::messages(MessageFormat::DS, DsCode::CONNECT));

    EXPECT_EQ(client_.init(&component_, &callbacks_), 0);
    answerConnect();

    EXPECT_EQ(callbacks_.ready, 0);
}

TEST_F(DsClientTest, asksForOneAttribute) {
    connect();

    EXPECT_EQ(client_.getAttrReq(6, "Default.Mfg.AllowCallhome", 1), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(attributes_, MessageFormat::DS, DsCode::GET)),
              (encodeFields(DsGet{6, 1, "Default.Mfg.AllowCallhome"})));
}

TEST_F(DsClientTest, asksForManyAttributesAtOnce) {
    connect();
    const std::vector<std::string> names{"one", "two"};

    EXPECT_EQ(client_.bulkGetAttrReq(11, names), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(attributes_, MessageFormat::DS, DsCode::BULK_GET)),
              (encodeFields(DsBulkGet{11, names})));
}

TEST_F(DsClientTest, setsAnAttribute) {
    connect();

    EXPECT_EQ(client_.setAttrReq(10, "Oper.Callhome.MarkerData", dsClient::TYPE_STRING, "OK", 1), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(attributes_, MessageFormat::DS, DsCode::SET)),
              (encodeFields(DsSet{10, 1, 1, "Oper.Callhome.MarkerData", "OK"})));
}

TEST_F(DsClientTest, passesOtherMessagesOfTheStoreOn) {
    connect();

    for (const std::uint16_t code : {DsCode::STATUS_REPLY, DsCode::ATTRIBUTE_REPLY, DsCode::BULK_REPLY}) {
        sendToComponent(ServiceAddress::ATTRIBUTES, MessageFormat::DS, code);
    }

    EXPECT_EQ(component_.messages.size(), 3u);
}

TEST_F(DsClientTest, takesNamesOf255CharactersAndRefusesLongerOnes) {
    connect();
    const struct {
        std::string name;
        int result;
    } cases[] = {{std::string(255, 'n'), 0}, {std::string(256, 'n'), -1}};
    for (const auto& each : cases) {
        const std::vector<std::string> names{"short", each.name};
        EXPECT_EQ(client_.getAttrReq(1, each.name.c_str(), 1), each.result);
        EXPECT_EQ(client_.bulkGetAttrReq(1, names), each.result);
        EXPECT_EQ(client_.setAttrReq(1, each.name.c_str(), 1, "v", 1), each.result);
    }
    deliver();
    EXPECT_EQ(attributes_.messages.size(), 3u);
}

TEST_F(DsClientTest, refusesWhatIsNoName) {
    connect();
    const std::vector<std::string> cut{std::string("a\0b", 3)};

    EXPECT_EQ(client_.getAttrReq(1, nullptr, 1), -1);
    EXPECT_EQ(client_.setAttrReq(1, nullptr, 1, "v", 1), -1);
    EXPECT_EQ(client_.bulkGetAttrReq(1, cut), -1);
}

TEST_F(DsClientTest, asksForSixtyFourAttributesAtOnceAndNotForMore) {
    connect();

    EXPECT_EQ(client_.bulkGetAttrReq(1, std::vector<std::string>(64, "n")), 0);
    EXPECT_EQ(client_.bulkGetAttrReq(1, std::vector<std::string>(65, "n")), -1);
}

TEST_F(DsClientTest, sendsNothingBeforeItIsInitialised) {
    joinAndInsert();

    EXPECT_EQ(client_.getAttrReq(1, "n", 1), -1);
    EXPECT_EQ(client_.bulkGetAttrReq(1, {}), -1);
    EXPECT_EQ(client_.setAttrReq(1, "n", 1, "v", 1), -1);
}

TEST_F(DsClientTest, saysWhenARequestCannotBeSent) {
    connect();
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::ATTRIBUTES));

    EXPECT_EQ(client_.getAttrReq(1, "n", 1), -1);
    EXPECT_EQ(client_.bulkGetAttrReq(1, {}), -1);
    EXPECT_EQ(client_.setAttrReq(1, "n", 1, "v", 1), -1);
}

TEST_F(DsClientTest, readsTheAnswerToOneAttribute) {
    const Hsb_Message message(103, 2, encodeFields(DsAttributeAnswer{6, {"A", 1, 52, "True"}}));
    DsAttrReply reply;

    ASSERT_EQ(client_.attrData(message, reply), 0);

    EXPECT_EQ(reply.id, 6u);
    EXPECT_EQ(reply.entry.name, "A");
    EXPECT_EQ(reply.entry.type, 1u);
    EXPECT_EQ(reply.entry.value, "True");
    EXPECT_EQ(reply.status, 52);
}

TEST_F(DsClientTest, readsTheAnswerToManyAttributes) {
    const Hsb_Message message(103, 9, encodeFields(DsBulkAnswer{11, {{"A", 1, 0, "1"}, {"B", 2, -1, ""}}}));
    DsBulkReply reply;

    ASSERT_EQ(client_.bulkAttr(message, reply), 0);

    EXPECT_EQ(reply.id, 11u);
    ASSERT_EQ(reply.entries.size(), 2u);
    EXPECT_EQ(reply.entries[0].name, "A");
    EXPECT_EQ(reply.entries[0].type, 1u);
    EXPECT_EQ(reply.entries[0].value, "1");
    EXPECT_EQ(reply.entries[1].name, "B");
    EXPECT_EQ(reply.entries[1].type, 2u);
    EXPECT_EQ(reply.entries[1].value, "");
    EXPECT_THAT(reply.statuses, ElementsAre(0, -1));
}

TEST_F(DsClientTest, readsTheStatusOfAWrite) {
    const Hsb_Message message(103, 1, encodeFields(DsStatusAnswer{12, -5}));
    DsStatusReply reply;

    ASSERT_EQ(client_.statusMsg(message, reply), 0);

    EXPECT_EQ(reply.id, 12u);
    EXPECT_EQ(reply.status, -5);
}

TEST_F(DsClientTest, leavesTheReplyAloneWhenAnAnswerCannotBeRead) {
    const Hsb_Message message(103, 2, {0, 0, 0});
    DsAttrReply attribute{99, {"kept", 1, "kept"}, 1};
    DsBulkReply bulk{99, {{"kept", 1, "kept"}}, {1}};
    DsStatusReply status{99, 1};

    EXPECT_GT(client_.attrData(message, attribute), 0);
    EXPECT_GT(client_.bulkAttr(message, bulk), 0);
    EXPECT_GT(client_.statusMsg(message, status), 0);

    EXPECT_EQ(attribute.id, 99u);
    EXPECT_EQ(attribute.entry.name, "kept");
    EXPECT_EQ(bulk.entries.size(), 1u);
    EXPECT_THAT(bulk.statuses, ElementsAre(1));
    EXPECT_EQ(status.id, 99u);
    EXPECT_EQ(status.status, 1);
}
