#include "Hsb.h"

#include "testing/platform/ClientTest.h"

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

namespace {

const Timeval AT_ONCE(0, 0);

class HsbTest : public ClientTest {
protected:
    Hsb& hsb_ = *Hsb::instance();
};

// Does something in the next turn of the loop.
class NextTurn {
public:
    explicit NextTurn(std::function<void()> action)
        : number_(Dispatcher::instance()->schedule_timer(Timeval(0, 0), false, std::move(action))) {}
    ~NextTurn() { Dispatcher::instance()->cancel_timer(number_); }
    NextTurn(const NextTurn&) = delete;
    NextTurn& operator=(const NextTurn&) = delete;

private:
    std::uint64_t number_;
};

bool hasDefaultAction(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

TEST_F(HsbTest, cannotJoinWithoutATransport) {
    HostPlatform::useTransport(nullptr);

    EXPECT_EQ(hsb_.init(64, 0, 0), 0);
}

TEST_F(HsbTest, cannotJoinABusThatRefuses) {
    bus_.refuseJoins(true);

    EXPECT_EQ(hsb_.init(64, 0, 0), 0);
    EXPECT_TRUE(hasDefaultAction(SIGTERM));
}

TEST_F(HsbTest, joinsTheBus) {
    EXPECT_GT(hsb_.init(64, 0, 0), 0);
    EXPECT_GT(hsb_.init(64, 0, 0), 0) << "once is enough";
}

TEST_F(HsbTest, canJoinAgainAfterShutdown) {
    join();
    hsb_.shutdown();
    hsb_.shutdown();

    joinAndInsert();
    sendToComponent(ServiceAddress::NAMES, 1, 2);

    EXPECT_EQ(component_.messages.size(), 1u);
}

TEST_F(HsbTest, leavesTheSignalsAsItFoundThem) {
    ASSERT_TRUE(hasDefaultAction(SIGTERM));
    ASSERT_TRUE(hasDefaultAction(SIGINT));

    join();
    EXPECT_FALSE(hasDefaultAction(SIGTERM));
    EXPECT_FALSE(hasDefaultAction(SIGINT));
    hsb_.shutdown();

    EXPECT_TRUE(hasDefaultAction(SIGTERM));
    EXPECT_TRUE(hasDefaultAction(SIGINT));
}

TEST_F(HsbTest, endsOrderlyWhenToldToWhileItServes) {
    for (const int signal : {SIGTERM, SIGINT}) {
        join();
        const NextTurn told([signal] { raise(signal); });

        EXPECT_EQ(hsb_.handle_events(nullptr), 0);

        hsb_.shutdown();
    }
}

TEST_F(HsbTest, endsOrderlyWhenToldToBeforeItServes) {
    for (const int signal : {SIGTERM, SIGINT}) {
        join();
        raise(signal);

        EXPECT_EQ(hsb_.handle_events(nullptr), 0);

        hsb_.shutdown();
    }
}

TEST_F(HsbTest, forgetsThatItWasToldToEndOnceItHasEnded) {
    join();
    raise(SIGTERM);
    ASSERT_EQ(hsb_.handle_events(nullptr), 0);
    bool served = false;
    const NextTurn turn([&served] { served = true; });

    EXPECT_EQ(hsb_.handle_events(&AT_ONCE), 0);

    EXPECT_TRUE(served);
}

TEST_F(HsbTest, servesUntilItsLimitHasPassed) {
    join();
    const auto begin = std::chrono::steady_clock::now();
    const Timeval limit(0, 30000);

    EXPECT_EQ(hsb_.handle_events(&limit), 0);

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST_F(HsbTest, servesMessagesAndTimers) {
    joinAndInsert();
    Hsb_Message message(1, 2);
    message.destination(slot_.address());
    ASSERT_EQ(switch_.send(message), 0);
    component_.onMessage = [](const Hsb_Message&) { raise(SIGTERM); };

    EXPECT_EQ(hsb_.handle_events(nullptr), 0);

    EXPECT_EQ(component_.messages.size(), 1u);
}

TEST_F(HsbTest, goesOnWhenACallbackThrows) {
    join();
    const NextTurn throwing([] { throw std::runtime_error("timer"); });
    const NextTurn throwingOddly([] { throw 1; });
    const NextTurn told([] { raise(SIGTERM); });

    EXPECT_EQ(hsb_.handle_events(nullptr), 0);
}

TEST_F(HsbTest, failsWhenItsConnectionHasBroken) {
    join();
    process_.breakConnection();

    EXPECT_LT(hsb_.handle_events(nullptr), 0);
}

TEST_F(HsbTest, failsWhenItsConnectionBreaks) {
    join();
    const NextTurn broken([this] { process_.breakConnection(); });

    EXPECT_LT(hsb_.handle_events(nullptr), 0);
}

TEST_F(HsbTest, failsWhenTheLoopCannotWait) {
    join();
    ASSERT_EQ(hsb_.handle_events(&AT_ONCE), 0);  // what sanitizers look up with a descriptor is known from now on
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit none = former;
    none.rlim_cur = 0;
    Hsb* const hsb = Hsb::instance();

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int result = hsb->handle_events(nullptr);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);

    EXPECT_LT(result, 0);
}
