#include "Dispatcher.h"

#include "Descriptor.h"
#include "platform/posix/Clock.h"
#include "testing/platform/TestHandler.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <array>
#include <chrono>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Timeval LONG(20, 0);  // a limit that only a failing test reaches

class DispatcherTest : public testing::Test {
protected:
    // One turn that waits for nothing; returns the number of calls.
    int turn() { return dispatcher_.handle_events(&kAtOnce); }

    Dispatcher dispatcher_;
    SocketPair pair_;
    std::vector<std::string> calls_;
    TestHandler handler_{pair_.end(0), calls_};
};

}  // namespace

TEST_F(DispatcherTest, callsNobodyWhenNothingHappens) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);

    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, IsEmpty());
}

TEST_F(DispatcherTest, callsHandleInputWhileThereIsSomethingToRead) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.feed(1);

    EXPECT_EQ(turn(), 1);
    EXPECT_EQ(turn(), 1);
    handler_.swallow();
    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, ElementsAre("input", "input"));
}

TEST_F(DispatcherTest, callsHandleOutputWhileThereIsRoom) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::WRITE), 0);

    EXPECT_EQ(turn(), 1);

    EXPECT_THAT(calls_, ElementsAre("output"));
}

TEST_F(DispatcherTest, callsHandleOutputBeforeHandleInput) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ | Event_Handler::WRITE), 0);
    pair_.feed(1);

    EXPECT_EQ(turn(), 2);

    EXPECT_THAT(calls_, ElementsAre("output", "input"));
}

TEST_F(DispatcherTest, callsHandleExceptionForUrgentData) {
    const Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(listener.get(), 1), 0);
    ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    const Descriptor server(accept(listener.get(), nullptr, nullptr));
    TestHandler urgent(server.get(), calls_);
    ASSERT_EQ(dispatcher_.register_handler(&urgent, Event_Handler::EXCEPTION), 0);

    ASSERT_EQ(send(client.get(), "!", 1, MSG_OOB), 1);

    EXPECT_EQ(dispatcher_.handle_events(&LONG), 1);
    EXPECT_THAT(calls_, ElementsAre("exception"));
    dispatcher_.remove_handler(&urgent, Event_Handler::DONT_CALL);
}

TEST_F(DispatcherTest, takesTheNewMaskOfAHandlerRegisteredAgain) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::WRITE), 0);
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);

    EXPECT_EQ(turn(), 0);
    pair_.feed(1);
    EXPECT_EQ(turn(), 1);

    EXPECT_THAT(calls_, ElementsAre("input"));
}

TEST_F(DispatcherTest, takesTheNewDescriptorOfAHandlerRegisteredAgain) {
    SocketPair other;
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    handler_.setHandle(other.end(0));
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);

    pair_.feed(1);
    EXPECT_EQ(turn(), 0);
    other.feed(1);
    EXPECT_EQ(turn(), 1);

    EXPECT_THAT(calls_, ElementsAre("input"));
}

TEST_F(DispatcherTest, waitsForNothingWithAnEmptyMask) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, 0), 0);
    pair_.closeEnd(1);

    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, IsEmpty());
}

TEST_F(DispatcherTest, refusesAHandlerWithoutDescriptor) {
    TestHandler nowhere(-1, calls_);

    EXPECT_EQ(dispatcher_.register_handler(&nowhere, Event_Handler::READ), -1);
    EXPECT_EQ(dispatcher_.register_handler(nullptr, Event_Handler::READ), -1);
}

TEST_F(DispatcherTest, callsHandleCloseOfARemovedHandler) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.feed(1);

    EXPECT_EQ(dispatcher_.remove_handler(&handler_, Event_Handler::READ), 0);

    EXPECT_EQ(turn(), 0);
    EXPECT_THAT(calls_, ElementsAre("close 1"));
}

TEST_F(DispatcherTest, removesAHandlerSilentlyWhenAskedTo) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.feed(1);

    EXPECT_EQ(dispatcher_.remove_handler(&handler_, Event_Handler::READ | Event_Handler::DONT_CALL), 0);

    EXPECT_EQ(turn(), 0);
    EXPECT_THAT(calls_, IsEmpty());
}

TEST_F(DispatcherTest, cannotRemoveAHandlerTwice) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    ASSERT_EQ(dispatcher_.remove_handler(&handler_, Event_Handler::READ), 0);

    EXPECT_EQ(dispatcher_.remove_handler(&handler_, Event_Handler::READ), -1);
    EXPECT_EQ(dispatcher_.remove_handler(nullptr, Event_Handler::READ), -1);

    EXPECT_THAT(calls_, ElementsAre("close 1"));
}

TEST_F(DispatcherTest, dropsAHandlerWhoseInputFails) {
    handler_.onInput = [] { return -1; };
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.feed(1);

    EXPECT_EQ(turn(), 1);
    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, ElementsAre("input", "close 1"));
}

TEST_F(DispatcherTest, doesNotCallHandleInputAfterAFailedOutput) {
    handler_.onOutput = [] { return -1; };
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ | Event_Handler::WRITE), 0);
    pair_.feed(1);

    EXPECT_EQ(turn(), 1);
    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, ElementsAre("output", "close 3"));
}

TEST_F(DispatcherTest, letsHandleCloseRemoveTheHandlerOnceMore) {
    handler_.onInput = [] { return -1; };
    int removed = 0;
    handler_.onClose = [&] {
        removed = dispatcher_.remove_handler(&handler_, Event_Handler::READ | Event_Handler::DONT_CALL);
        return 0;
    };
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.feed(1);

    turn();

    EXPECT_EQ(removed, -1);
    EXPECT_THAT(calls_, ElementsAre("input", "close 1"));
}

TEST_F(DispatcherTest, tellsAReaderOfAHangUp) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.closeEnd(1);

    EXPECT_EQ(turn(), 1);

    EXPECT_THAT(calls_, ElementsAre("input"));
}

TEST_F(DispatcherTest, tellsAWriterOfABrokenPipe) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    TestHandler writer(writing.get(), calls_);
    writer.onOutput = [] { return -1; };
    ASSERT_EQ(dispatcher_.register_handler(&writer, Event_Handler::WRITE), 0);
    reading.reset();

    EXPECT_EQ(turn(), 1);

    EXPECT_THAT(calls_, ElementsAre("output", "close 2"));
}

TEST_F(DispatcherTest, dropsAHandlerWhoseDescriptorIsNotOpen) {
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    pair_.closeEnd(0);

    EXPECT_EQ(turn(), 1);
    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, ElementsAre("close 1"));
}

TEST_F(DispatcherTest, failsWhenItCannotWait) {
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    ASSERT_EQ(dispatcher_.register_handler(&handler_, Event_Handler::READ), 0);
    rlimit one = former;
    one.rlim_cur = 1;
    Dispatcher& dispatcher = dispatcher_;  // a sanitizer needs descriptors to check a call through the fixture

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &one), 0);
    const int result = dispatcher.handle_events(&kAtOnce);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);

    EXPECT_EQ(result, -1);
    EXPECT_EQ(turn(), 0);
}

TEST_F(DispatcherTest, waitsNoLongerThanItsLimitOfRealTime) {
    ManualClock standing(0);
    useHostClock(&standing);
    const auto begin = std::chrono::steady_clock::now();
    const Timeval limit(0, 30000);

    EXPECT_EQ(dispatcher_.handle_events(&limit), 0);

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
    useHostClock(nullptr);
}

TEST_F(DispatcherTest, doesNotWaitWithANegativeLimit) {
    const Timeval negative(-1, 0);

    EXPECT_EQ(dispatcher_.handle_events(&negative), 0);
}

TEST_F(DispatcherTest, returnsAtOnceWhenItWasWokenBefore) {
    dispatcher_.wake();
    dispatcher_.wake();

    EXPECT_EQ(dispatcher_.handle_events(nullptr), 0);
}

TEST_F(DispatcherTest, forgetsAWakeUpThatHasDoneItsWork) {
    dispatcher_.wake();
    ASSERT_EQ(dispatcher_.handle_events(nullptr), 0);
    const auto begin = std::chrono::steady_clock::now();
    const Timeval limit(0, 20000);

    EXPECT_EQ(dispatcher_.handle_events(&limit), 0);

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST(Dispatcher, isOneForTheMainThread) {
    EXPECT_NE(Dispatcher::instance(), nullptr);
    EXPECT_EQ(Dispatcher::instance(), Dispatcher::instance());
}
