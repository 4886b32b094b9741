// What callbacks may do to the dispatcher that calls them.
#include "Dispatcher.h"
#include "testing/platform/TestHandler.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Three handlers with something to read, called in this order.
class DispatcherCallbacks : public testing::Test {
protected:
    void SetUp() override {
        for (TestHandler* handler : {first_.get(), &second_, &third_}) {
            ASSERT_EQ(dispatcher_.register_handler(handler, Event_Handler::READ), 0);
        }
        for (const SocketPair& pair : pairs_) {
            pair.feed(1);
        }
    }

    int turn() { return dispatcher_.handle_events(&kAtOnce); }
    int remove(TestHandler& handler) { return dispatcher_.remove_handler(&handler, Event_Handler::DONT_CALL); }

    Dispatcher dispatcher_;
    SocketPair pairs_[3];
    std::vector<std::string> calls_;
    std::unique_ptr<TestHandler> first_ = std::make_unique<TestHandler>(pairs_[0].end(0), calls_, "first ");
    TestHandler second_{pairs_[1].end(0), calls_, "second "};
    TestHandler third_{pairs_[2].end(0), calls_, "third "};
};

}  // namespace

TEST_F(DispatcherCallbacks, comeInTheOrderOfRegistration) {
    EXPECT_EQ(turn(), 3);

    EXPECT_THAT(calls_, ElementsAre("first input", "second input", "third input"));
}

TEST_F(DispatcherCallbacks, mayRemoveTheirOwnHandler) {
    first_->onInput = [this] { return remove(*first_); };

    turn();
    turn();

    EXPECT_THAT(calls_, ElementsAre("first input", "second input", "third input", "second input", "third input"));
}

TEST_F(DispatcherCallbacks, mayRemoveTheirOwnHandlerAndFail) {
    first_->onInput = [this] {
        remove(*first_);
        return -1;
    };

    EXPECT_EQ(turn(), 3);

    EXPECT_THAT(calls_, ElementsAre("first input", "second input", "third input"));
}

TEST_F(DispatcherCallbacks, mayDestroyTheirOwnHandler) {
    first_->onInput = [this] {
        remove(*first_);
        first_.reset();
        return 0;
    };

    EXPECT_EQ(turn(), 3);
    EXPECT_EQ(turn(), 2);
}

TEST_F(DispatcherCallbacks, mayRemoveAnotherThatWasToBeCalled) {
    first_->onInput = [this] { return remove(second_); };

    EXPECT_EQ(turn(), 2);

    EXPECT_THAT(calls_, ElementsAre("first input", "third input"));
}

TEST_F(DispatcherCallbacks, mayRemoveOneThatWasCalledBefore) {
    second_.onInput = [this] {
        remove(*first_);
        return 0;
    };

    turn();
    turn();

    EXPECT_THAT(calls_, ElementsAre("first input", "second input", "third input", "second input", "third input"));
}

TEST_F(DispatcherCallbacks, mayRegisterAnotherForTheNextTurn) {
    SocketPair pair;
    pair.feed(1);
    TestHandler late(pair.end(0), calls_, "late ");
    first_->onInput = [&] { return dispatcher_.register_handler(&late, Event_Handler::READ); };

    EXPECT_EQ(turn(), 3);
    EXPECT_EQ(turn(), 4);

    EXPECT_EQ(calls_.back(), "late input");
}

TEST_F(DispatcherCallbacks, mayRemoveAndRegisterTheirOwnHandler) {
    first_->onInput = [this] {
        remove(*first_);
        return dispatcher_.register_handler(first_.get(), Event_Handler::READ);
    };

    EXPECT_EQ(turn(), 3);
    calls_.clear();
    EXPECT_EQ(turn(), 3);

    EXPECT_THAT(calls_, ElementsAre("second input", "third input", "first input"));
}

TEST_F(DispatcherCallbacks, mayChangeWhatAnotherWaitsFor) {
    first_->onInput = [this] { return dispatcher_.register_handler(&second_, Event_Handler::WRITE); };

    EXPECT_EQ(turn(), 2);
    EXPECT_EQ(turn(), 3);

    EXPECT_THAT(calls_, ElementsAre("first input", "third input", "first input", "second output", "third input"));
}

TEST_F(DispatcherCallbacks, mayMoveAnotherToADescriptorThatIsNotReady) {
    SocketPair quiet;
    first_->onInput = [&] {
        second_.setHandle(quiet.end(0));
        return dispatcher_.register_handler(&second_, Event_Handler::READ);
    };

    EXPECT_EQ(turn(), 2);

    EXPECT_THAT(calls_, ElementsAre("first input", "third input"));
}

TEST_F(DispatcherCallbacks, mayRunATurnOfTheirOwn) {
    first_->onInput = [this] {
        remove(*first_);
        remove(third_);
        return turn() == 1 ? 0 : -1;
    };

    EXPECT_EQ(turn(), 2);

    EXPECT_THAT(calls_, ElementsAre("first input", "second input", "second input"));
}

TEST_F(DispatcherCallbacks, mayThrowWithoutHarmToTheLoop) {
    first_->onInput = [this]() -> int {
        remove(*first_);
        throw std::runtime_error("input");
    };

    EXPECT_THROW(turn(), std::runtime_error);
    calls_.clear();
    EXPECT_EQ(turn(), 2);

    EXPECT_THAT(calls_, ElementsAre("second input", "third input"));
}

TEST_F(DispatcherCallbacks, mayStartATimerThatRunsInTheSameTurn) {
    first_->onInput = [this] {
        dispatcher_.schedule_timer(Timeval(0, 0), false, [this] { calls_.push_back("timer"); });
        return remove(*first_);
    };

    EXPECT_EQ(turn(), 4);

    EXPECT_EQ(calls_.back(), "timer");
}

TEST_F(DispatcherCallbacks, mayRemoveEverything) {
    first_->onInput = [this] { return remove(*first_) + remove(second_) + remove(third_); };

    EXPECT_EQ(turn(), 1);
    calls_.clear();
    EXPECT_EQ(turn(), 0);

    EXPECT_THAT(calls_, IsEmpty());
}
