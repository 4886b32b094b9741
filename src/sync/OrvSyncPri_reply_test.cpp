// How the sender reads what the standby answers.
#include "sync/OrvSyncPri.h"

#include "testing/FailingCalls.h"
#include "testing/sync/SyncFixture.h"

#include <cerrno>

namespace {

using namespace std::string_literals;

class OrvSyncPriReply : public SyncFixture {
protected:
    OrvSyncPriReply() { standby_.listen(); }
    std::string priTrace(const std::vector<Line>& messages) const { return lines("OrvSyncPri", messages); }

    PlainSocket standby_;
    OrvSyncPri sender_{at(standby_.bindAnywhere())};
};

TEST_F(OrvSyncPriReply, isABigEndianWord) {
    ASSERT_EQ(sender_.startConnection(), 0);
    const PlainSocket peer = standby_.accept();
    struct Row {
        std::string bytes;
        std::uint32_t reply;
    };
    for (const Row& row : {Row{"\0\0\0\0"s, 0}, Row{"\0\0\0\x54"s, 84}, Row{"\1\2\3\4"s, 0x01020304},
                           Row{"\xFF\xFF\xFF\xFE"s, 0xFFFFFFFE}}) {
        peer.write(row.bytes);
        EXPECT_EQ(sender_.recvResponse(), 0);
        EXPECT_EQ(sender_.reply(), row.reply);
        EXPECT_EQ(sender_.replyBytes(), 4u);
    }
    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriReply, isReadWordByWord) {
    ASSERT_EQ(sender_.startConnection(), 0);
    standby_.accept().write("\0\0\0\1\0\0\0\2"s);

    EXPECT_EQ(sender_.recvResponse(), 0);
    EXPECT_EQ(sender_.reply(), 1u);
    EXPECT_EQ(sender_.recvResponse(), 0);
    EXPECT_EQ(sender_.reply(), 2u);
}

TEST_F(OrvSyncPriReply, takesAShortReplyAsItIs) {
    struct Row {
        std::string bytes;
        std::uint32_t reply;
    };
    for (const Row& row : {Row{"\1\2\3"s, 0x01020300}, Row{"\1\2"s, 0x01020000}, Row{"\1"s, 0x01000000}, Row{"", 0}}) {
        ASSERT_EQ(sender_.startConnection(), 0);
        PlainSocket peer = standby_.accept();
        peer.write(row.bytes);
        peer.sayNoMore();

        EXPECT_EQ(sender_.recvResponse(), 0);

        EXPECT_EQ(sender_.reply(), row.reply);
        EXPECT_EQ(sender_.replyBytes(), row.bytes.size());
        EXPECT_TRUE(sender_.connected());
    }
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriReply, doesNotWaitForTheRestOfAShortReply) {
    ASSERT_EQ(sender_.startConnection(), 0);
    const PlainSocket peer = standby_.accept();
    peer.write("\0\1"s);

    EXPECT_EQ(sender_.recvResponse(), 0);

    EXPECT_EQ(sender_.reply(), 0x00010000u);
    EXPECT_EQ(sender_.replyBytes(), 2u);
}

TEST_F(OrvSyncPriReply, reportsALostConnectionOnce) {
    ASSERT_EQ(sender_.startConnection(), 0);
    PlainSocket peer = standby_.accept();
    peer.write("\0\0\0\5"s);
    ASSERT_EQ(sender_.recvResponse(), 0);
    peer.reset();

    EXPECT_EQ(sender_.recvResponse(), -1);

    EXPECT_FALSE(sender_.connected());
    EXPECT_EQ(sender_.error(), ECONNRESET);
    EXPECT_EQ(sender_.reply(), 0u);
    EXPECT_EQ(traced(), priTrace({{"recvResponse", "recv: Connection reset by peer"}}));

    const FailingCall failing("recv", "", ENOTCONN);
    EXPECT_EQ(sender_.recvResponse(), -1);
    EXPECT_EQ(sender_.error(), ECONNRESET);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriReply, isNoneWithoutAConnection) {
    EXPECT_EQ(sender_.recvResponse(), -1);

    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriReply, isNotWaitedForForEver) {
    const PlainSocket standby;
    OrvSyncSettings settings = at(standby.bindAnywhere());
    standby.listen();
    settings.limit = std::chrono::milliseconds(10);
    OrvSyncPri sender(settings);
    ASSERT_EQ(sender.startConnection(), 0);

    EXPECT_EQ(sender.recvResponse(), -1);

    EXPECT_FALSE(sender.connected());
    EXPECT_EQ(sender.error(), ETIMEDOUT);
    EXPECT_EQ(traced(), priTrace({{"recvResponse", "recv: Connection timed out"}}));
}

}  // namespace
