// The loop when memory is short for what arrives.
#include "platform/transport/dbus/DbusLoop.h"

#include "testing/platform/DbusTestBus.h"

#include <gmock/gmock.h>

#include <map>

using testing::ElementsAre;

namespace {

// Has no memory for a message the first so many times.
class ShortOwner final : public DbusLoop::Owner {
public:
    int busMessage(sd_bus_message& message) override {
        Hsb_Message unpacked;
        if (!DbusMessage::isOurs(message) || DbusMessage::unpack(message, unpacked) < 0) {
            return 0;
        }
        if (refusals[unpacked.code()] > 0) {
            --refusals[unpacked.code()];
            return -1;
        }
        taken.push_back(unpacked.code());
        return 0;
    }
    void busLost(int /*error*/) noexcept override { lost = true; }

    std::map<int, int> refusals;  // by code
    std::vector<int> taken;
    bool lost = false;
};

// A connection that sends messages to itself.
class DbusLoopTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_GE(sd_bus_new(&connection_), 0);
        ASSERT_GE(sd_bus_set_address(connection_, bus_.address().c_str()), 0);
        ASSERT_GE(sd_bus_set_bus_client(connection_, 1), 0);
        ASSERT_GE(sd_bus_start(connection_), 0);
        ASSERT_GE(sd_bus_get_unique_name(connection_, &name_), 0);  // waits for the bus
    }
    ~DbusLoopTest() override { sd_bus_flush_close_unref(connection_); }

    void sendToItself(std::uint16_t code) {
        const DbusMessagePtr call = DbusMessage::pack(*connection_, name_, Hsb_Message(5, code));
        ASSERT_NE(call, nullptr);
        ASSERT_GE(sd_bus_send(connection_, call.get(), nullptr), 0);
    }

    PrivateBus bus_;
    sd_bus* connection_ = nullptr;
    const char* name_ = nullptr;
    ShortOwner owner_;
};

}  // namespace

TEST_F(DbusLoopTest, isAsPatientWithTheNextMessageAsWithTheOneThatItLost) {
    constexpr int FOR_EVER = 1000;
    owner_.refusals = {{1, FOR_EVER}, {2, 2}};
    DbusLoop loop(owner_, Patience(1, 3));
    ASSERT_EQ(loop.start(*connection_), 0);

    sendToItself(1);
    sendToItself(2);
    sendToItself(3);
    loop.sent();

    ASSERT_TRUE(eventually([this] { return owner_.lost || (!owner_.taken.empty() && owner_.taken.back() == 3); }));
    EXPECT_THAT(owner_.taken, ElementsAre(2, 3));
    EXPECT_FALSE(owner_.lost);
}

TEST_F(DbusLoopTest, looksAgainInTimeHoweverMuchIsSentMeanwhile) {
    constexpr int LONGEST = 128;  // milliseconds: the eighth pause, as each is twice the one before
    owner_.refusals = {{1, 8}};
    DbusLoop loop(owner_, Patience(LONGEST, 30000));
    ASSERT_EQ(loop.start(*connection_), 0);
    sendToItself(1);
    loop.sent();
    ASSERT_TRUE(eventually([this] { return owner_.refusals[1] == 0; }));

    const auto overdue = std::chrono::steady_clock::now() + std::chrono::milliseconds(LONGEST + 50);
    while (std::chrono::steady_clock::now() < overdue) {
        loop.sent();
    }
    const Timeval atOnce(0, 0);
    ASSERT_GE(Dispatcher::instance()->handle_events(&atOnce), 0);

    EXPECT_THAT(owner_.taken, ElementsAre(1));
}
