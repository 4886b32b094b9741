#include "cmon_client.h"

#include "MessageCodes.h"
#include "testing/platform/ClientTest.h"

namespace {

class CmonClientTest : public ClientTest {
protected:
    cmon_client client_{&component_};
};

}  // namespace

TEST_F(CmonClientTest, tellsTheMonitorThatTheComponentIsReady) {
    joinAndInsert();

    EXPECT_EQ(client_.ready_for_conf(), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(monitor_, MessageFormat::CMON, CmonCode::READY_FOR_CONF)), Bytes{});
}

TEST_F(CmonClientTest, acknowledgesWithAStatus) {
    joinAndInsert();

    EXPECT_EQ(client_.conf_read_ack(-2), 0);

    EXPECT_EQ(bytesOf(onlyMessageOf(monitor_, MessageFormat::CMON, CmonCode::CONF_READ_ACK)),
              (Bytes{0xFF, 0xFF, 0xFF, 0xFE}));
}

TEST_F(CmonClientTest, isNegativeWhenNothingCanBeSent) {
    EXPECT_LT(client_.ready_for_conf(), 0);
    EXPECT_LT(client_.conf_read_ack(0), 0);
    joinAndInsert();
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::MONITOR));
    EXPECT_LT(client_.ready_for_conf(), 0);
    EXPECT_LT(client_.conf_read_ack(0), 0);
}
