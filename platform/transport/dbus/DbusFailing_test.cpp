// sd-bus fails for a moment: that is no lost connection.
#include "MessageCodes.h"
#include "testing/platform/DbusTestBus.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <functional>

using testing::SizeIs;

namespace {

// The calls that fail next, each with an error of its own; none by itself.
struct Failing {
    int error = 0;
    int times = 0;
    std::function<void()> after{};  // done at the last

    bool strikes() {
        if (times == 0) {
            return false;
        }
        if (--times == 0 && after) {
            after();
        }
        return true;
    }
};
Failing processing;
Failing waiting;

class DbusFailing : public DbusBusTest, public testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        ASSERT_EQ(services_->join(), 0);
        ASSERT_EQ(services_->attachService(names_, ServiceAddress::NAMES), 0);
    }
    void TearDown() override { processing = waiting = {}; }

    std::unique_ptr<DbusTransport> services_ = switchd();
    std::unique_ptr<DbusTransport> client_ = client();
    RecordingParty names_;
    RecordingParty party_;
    Hsb_Address address_;
};

}  // namespace

extern "C" {
int __real_sd_bus_process(sd_bus* bus, sd_bus_message** message);
int __real_sd_bus_wait(sd_bus* bus, std::uint64_t limit);

int __wrap_sd_bus_process(sd_bus* bus, sd_bus_message** message) {
    return processing.strikes() ? -processing.error : __real_sd_bus_process(bus, message);
}
int __wrap_sd_bus_wait(sd_bus* bus, std::uint64_t limit) {
    return waiting.strikes() ? -waiting.error : __real_sd_bus_wait(bus, limit);
}
}

TEST_P(DbusFailing, lookForMessagesIsRepeated) {
    ASSERT_EQ(client_->join(), 0);
    ASSERT_EQ(client_->attach(party_, address_), 0);
    ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1)), 0);
    ASSERT_EQ(services_->send(mail(ServiceAddress::NAMES, address_, 2)), 0);
    processing = {GetParam(), 7, {}};

    ASSERT_TRUE(eventually([&] { return !names_.messages.empty() && !party_.messages.empty(); }));

    EXPECT_FALSE(client_->lost());
    EXPECT_FALSE(services_->lost());
    EXPECT_EQ(processing.times, 0);
}

TEST_P(DbusFailing, waitDoesNotKeepAProcessFromJoining) {
    bus_.suspend();
    waiting = {GetParam(), 3, [this] { bus_.resume(); }};
    processing = {GetParam(), 3, {}};

    EXPECT_EQ(client_->join(), 0);

    EXPECT_EQ(waiting.times, 0);
    EXPECT_EQ(processing.times, 0);
}

TEST_P(DbusFailing, waitDoesNotKeepMessagesFromGoingOutBeforeTheirSenderLeaves) {
    ASSERT_EQ(client_->join(), 0);
    ASSERT_EQ(client_->attach(party_, address_), 0);
    bus_.suspend();
    for (int number = 0; number < 200; ++number) {
        ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1, std::vector<std::uint8_t>(200000))), 0);
    }
    waiting = {GetParam(), 3, {}};
    processing = {GetParam(), 3, {}};
    bus_.resume();

    client_->leave();

    EXPECT_EQ(processing.times, 0);
    ASSERT_TRUE(eventually([&] { return names_.messages.size() >= 200; }));
}

// As with a peer that sends and sends: there is always something to do.
TEST_F(DbusFailing, workWithoutEndDoesNotKeepASenderFromLeaving) {
    ASSERT_EQ(client_->join(), 0);
    ASSERT_EQ(client_->attach(party_, address_), 0);
    bus_.suspend();
    for (int number = 0; number < 200; ++number) {
        ASSERT_EQ(client_->send(mail(address_, ServiceAddress::NAMES, 1, std::vector<std::uint8_t>(200000))), 0);
    }
    constexpr int ONE_MORE_DONE = -1;
    processing = {ONE_MORE_DONE, INT_MAX, {}};
    const auto start = std::chrono::steady_clock::now();

    client_->leave();

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_LT(processing.times, INT_MAX);
    bus_.resume();
}

INSTANTIATE_TEST_SUITE_P(Transient, DbusFailing, testing::Values(ENOMEM, EAGAIN, EINTR));

TEST_F(DbusFailing, beyondMendingIsALostConnection) {
    ASSERT_EQ(client_->join(), 0);
    ASSERT_EQ(client_->attach(party_, address_), 0);
    ASSERT_EQ(services_->send(mail(ServiceAddress::NAMES, address_, 2)), 0);
    processing = {EBADMSG, 1, {}};

    ASSERT_TRUE(eventually([&] { return client_->lost() || services_->lost(); }));

    EXPECT_EQ((client_->lost() ? client_ : services_)->problem(), "the connection with the bus broke: Bad message");
}
