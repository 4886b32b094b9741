#include "switchctl/serve/Desk.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <utility>

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds LONG{20};

class DeskTest : public testing::Test {
protected:
    DeskTest() : thread_([this] { desk_.run(); }) {}
    ~DeskTest() override {
        desk_.stop();
        go_.set_value();
        thread_.join();
    }

    // A line called "slow" takes until go_.
    Desk::Result line(const Desk::Words& words) {
        ++lines_;
        if (words.front() == "slow") {
            began_.set_value();
            waits_.wait();
        }
        return {static_cast<int>(words.size()), words.front() + " " + std::to_string(lines_)};
    }

    std::atomic<int> lines_ = 0;
    std::promise<void> began_;
    std::promise<void> go_;
    std::shared_future<void> waits_{go_.get_future()};
    Desk desk_{
        [this](const Desk::Words& words) { return line(words); },
        {{"lasting", {"lasting"}, hours(1)}, {"passing", {"passing"}, milliseconds(0)}, {"slow", {"slow"}, hours(1)}}};
    std::thread thread_;
};

TEST_F(DeskTest, doesNothingUntilSomebodyLooks) {
    EXPECT_FALSE(desk_.last("lasting"));
    EXPECT_FALSE(desk_.age("lasting"));
    EXPECT_EQ(lines_, 0);
}

TEST_F(DeskTest, makesASheetOnceInItsPeriod) {
    EXPECT_EQ(desk_.read("lasting", LONG)->text, "lasting 1");
    EXPECT_EQ(desk_.read("lasting", LONG)->text, "lasting 1");
    EXPECT_EQ(desk_.last("lasting")->text, "lasting 1");
    EXPECT_TRUE(desk_.age("lasting"));
}

TEST_F(DeskTest, makesASheetAnewThatIsTooOld) {
    EXPECT_EQ(desk_.read("passing", LONG)->text, "passing 1");
    EXPECT_EQ(desk_.read("passing", LONG)->text, "passing 2");
}

TEST_F(DeskTest, showsAtOnceWhatThereIsWhileALineTakesItsTime) {
    EXPECT_EQ(desk_.read("passing", LONG)->text, "passing 1");
    EXPECT_FALSE(desk_.ask({"slow"}, milliseconds(0)));
    began_.get_future().wait();

    EXPECT_EQ(desk_.read("passing", hours(1))->text, "passing 1");
}

TEST(SlowSheets, takeTurnsWhenAllAreDueAgainAtOnce) {
    std::promise<void> last;
    bool told = false;
    Desk desk(
        [&](const Desk::Words& words) {
            if (words.front() == "last" && !std::exchange(told, true)) {
                last.set_value();
            }
            std::this_thread::sleep_for(milliseconds(2));  // longer than either stays young
            return Desk::Result{0, ""};
        },
        {{"first", {"first"}, milliseconds(0), milliseconds(1)}, {"last", {"last"}, milliseconds(0), milliseconds(1)}});
    std::thread thread([&] { desk.run(); });

    EXPECT_EQ(last.get_future().wait_for(LONG), std::future_status::ready);
    desk.stop();
    thread.join();
}

TEST(KeptSheet, isMadeAnewAlsoWhenNobodyLooks) {
    std::promise<void> thrice;
    int made = 0;
    Desk desk(
        [&](const Desk::Words&) {
            if (++made == 3) {
                thrice.set_value();
            }
            return Desk::Result{0, std::to_string(made)};
        },
        {{"kept", {"kept"}, hours(1), milliseconds(1)}, {"other", {"other"}, hours(1)}});
    std::thread thread([&] { desk.run(); });

    EXPECT_EQ(thrice.get_future().wait_for(LONG), std::future_status::ready);
    EXPECT_FALSE(desk.last("other"));
    desk.stop();
    thread.join();
}

TEST_F(DeskTest, hasNoSheetOfAnotherName) {
    EXPECT_FALSE(desk_.read("nonsense", LONG));
}

TEST_F(DeskTest, givesWhatThereIsToWhoeverHasNoPatience) {
    EXPECT_EQ(desk_.read("lasting", LONG)->text, "lasting 1");

    EXPECT_FALSE(desk_.read("slow", milliseconds(0)));
    began_.get_future().wait();

    EXPECT_EQ(desk_.read("lasting", milliseconds(0))->text, "lasting 1");
}

TEST_F(DeskTest, renewsASheetThatIsOlderThanAskedFor) {
    desk_.read("lasting", LONG);

    desk_.renew("lasting", hours(1), LONG);
    EXPECT_EQ(desk_.last("lasting")->text, "lasting 1");
    desk_.renew("lasting", milliseconds(0), LONG);
    EXPECT_EQ(desk_.last("lasting")->text, "lasting 2");
}

TEST_F(DeskTest, runsALineForWhoeverAsks) {
    const auto result = desk_.ask({"one", "two"}, LONG);

    EXPECT_EQ(result->status, 2);
    EXPECT_EQ(result->text, "one 1");
}

TEST_F(DeskTest, recallsWhatALineCameToWhileItIsYoung) {
    EXPECT_EQ(desk_.recall({"one", "two"}, hours(1), LONG)->text, "one 1");
    EXPECT_EQ(desk_.recall({"one", "two"}, hours(1), LONG)->text, "one 1");
    EXPECT_EQ(desk_.recall({"one", "three"}, hours(1), LONG)->text, "one 2");
    EXPECT_EQ(desk_.recall({"one", "two"}, milliseconds(0), LONG)->text, "one 3");
}

TEST_F(DeskTest, recallsNotMoreThanSixteenLines) {
    for (int i = 0; i < 17; ++i) {
        desk_.recall({"line", std::to_string(i)}, hours(1), LONG);
    }
    EXPECT_EQ(desk_.recall({"line", "16"}, hours(1), LONG)->text, "line 17");
    EXPECT_EQ(desk_.recall({"line", "0"}, hours(1), LONG)->text, "line 18");
}

TEST_F(DeskTest, refusesLinesWhenTooManyWait) {
    desk_.read("slow", milliseconds(0));
    began_.get_future().wait();

    int waiting = 0;
    for (int i = 0; i < 100; ++i) {
        waiting += desk_.ask({"later"}, milliseconds(0)) ? 1 : 0;
    }
    EXPECT_EQ(waiting, 0);
    go_.set_value();
    go_ = {};
    EXPECT_EQ(desk_.read("passing", LONG)->text, "passing 18");
}

TEST_F(DeskTest, letsEverybodyGoWhenItStops) {
    desk_.read("slow", milliseconds(0));
    began_.get_future().wait();
    auto asks = std::async(std::launch::async, [this] { return desk_.ask({"later"}, hours(1)); });

    desk_.stop();

    // Whoever comes behind the stop is let go as well.
    EXPECT_FALSE(asks.get());
    EXPECT_FALSE(desk_.ask({"later"}, hours(1)));
}

}  // namespace
