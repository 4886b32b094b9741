// What is sent but not taken yet, on a bus that takes nothing.
#include "platform/transport/dbus/DbusBacklog.h"

#include "platform/transport/dbus/DbusMessage.h"
#include "testing/platform/PrivateBus.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

class DbusBacklogTest : public testing::Test {
protected:
    DbusBacklogTest() {
        bus_.suspend();
        EXPECT_GE(sd_bus_new(&held_), 0);
        EXPECT_GE(sd_bus_set_address(held_, bus_.address().c_str()), 0);
        EXPECT_GE(sd_bus_set_bus_client(held_, 1), 0);
        EXPECT_GE(sd_bus_start(held_), 0);
        sd_bus_get_n_queued_write(held_, &greeting_);
    }
    ~DbusBacklogTest() override {
        sd_bus_close_unref(held_);
        bus_.resume();
    }
    // Counted and sent; the bus holds it.
    void send(DbusBacklog& backlog, std::size_t bytes) {
        ASSERT_TRUE(backlog.add(bytes));
        sd_bus_message* raw = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(held_, &raw, "/hsb", "hsb.Bus", "Something"), 0);
        const DbusMessagePtr message(raw);
        ASSERT_GE(sd_bus_send(held_, raw, nullptr), 0);
    }

    PrivateBus bus_;
    sd_bus* held_ = nullptr;
    std::uint64_t greeting_ = 0;  // what the connection itself has to say
};

TEST_F(DbusBacklogTest, isFullWithSoManyMessages) {
    DbusBacklog backlog(greeting_ + 2, 1000);
    send(backlog, 1);
    EXPECT_FALSE(backlog.full(*held_));
    send(backlog, 1);
    EXPECT_TRUE(backlog.full(*held_));
}

TEST_F(DbusBacklogTest, isFullWithSoManyBytes) {
    DbusBacklog backlog(1000, 30);
    send(backlog, 10);
    send(backlog, 19);
    EXPECT_FALSE(backlog.full(*held_));
    send(backlog, 1);
    EXPECT_TRUE(backlog.full(*held_));
    backlog.clear();
    EXPECT_FALSE(backlog.full(*held_));
}

TEST_F(DbusBacklogTest, countsNothingThatTheBusDoesNotHold) {
    DbusBacklog backlog(1000, 30);
    for (int sent = 0; sent < 10; ++sent) {
        ASSERT_TRUE(backlog.add(29));  // as if the socket had taken it at once
        EXPECT_FALSE(backlog.full(*held_)) << sent;
    }
}

TEST_F(DbusBacklogTest, forgetsWhatCouldNotBeSent) {
    DbusBacklog backlog(1000, 30);
    send(backlog, 10);
    ASSERT_TRUE(backlog.add(25));
    backlog.takeBack();
    EXPECT_FALSE(backlog.full(*held_));
    send(backlog, 20);
    EXPECT_TRUE(backlog.full(*held_));
}

TEST_F(DbusBacklogTest, aRefusalIsNewsAgainOnceItIsHalfEmpty) {
    DbusBacklog backlog(greeting_ + 2, 1000);
    EXPECT_TRUE(backlog.refuse());
    send(backlog, 1);
    send(backlog, 1);
    EXPECT_TRUE(backlog.full(*held_));
    EXPECT_FALSE(backlog.refuse());

    sd_bus* empty = nullptr;
    ASSERT_GE(sd_bus_new(&empty), 0);
    EXPECT_FALSE(backlog.full(*empty));
    EXPECT_TRUE(backlog.refuse());
    sd_bus_unref(empty);
}

}  // namespace
