#include "box/Lives.h"

#include "box/Life.h"
#include "platform/wire/Fields.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace box {
namespace {

// A file tree of its own, in memory where the machine has such a place.
class BoxRoot {
public:
    BoxRoot() {
        std::string pattern = (std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/box-XXXXXX");
        path_ = mkdtemp(pattern.data());
        std::filesystem::create_directories(path_ + "/ostrel/conf");
        std::filesystem::create_directories(path_ + "/tmp");
    }
    ~BoxRoot() { std::filesystem::remove_all(path_); }
    BoxRoot(const BoxRoot&) = delete;
    BoxRoot& operator=(const BoxRoot&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// One alarm in the tenth second; the history ends with the second minute.
class OneAlarm final : public Script {
public:
    Time next() const override { return steps_ == 0 ? 10 * kSecond : steps_ == 1 ? 120 * kSecond : kNever; }
    void step(Life& life) override {
        if (steps_++ == 0) {
            if (inBetween) {
                inBetween();
            }
            Sw_Log_Type record;
            record.number = 0x00010001;
            record.text = "a fan has stopped";
            EXPECT_EQ(life.services().happenings().logRecord(record, false), 0);
        }
    }
    void mailTaken(Life&, const MailServer&, const Mail& mail) override { mails_.push_back(mail.text); }
    void encode(FieldWriter& out) const override { fields(out, *this); }
    void decode(FieldReader& in) override { fields(in, *this); }

    const std::vector<std::string>& mails() const { return mails_; }
    // On the daemon's main thread, with the alarm.
    std::function<void()> inBetween;

private:
    static void fields(auto& io, auto& script) {
        io(script.steps_);
        texts(io, script.mails_);
    }

    std::uint32_t steps_ = 0;
    std::vector<std::string> mails_;
};

World worldWithOperators(std::uint64_t seed) {
    World world(seed);
    world.servers.push_back({"mail1", "192.0.2.1", 25, {}});
    world.set("Global.Services.CallhomeEnable", "True");
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.set("Global.Callhome.NF-SMTPAddr", "1-192.0.2.1");
    world.set("Global.Callhome.SMTPPort", "25");
    world.set("Global.Callhome.SMTPEnable", "True");
    world.setProfile(0, {"Operators", "Alarm", "FullText", "Lab switch", {"a@example.com"}});
    world.set("Global.CallhomeDB.NumberOfProfiles", "1");
    return world;
}

}  // namespace

TEST(Lives, mailAnAlarmInVirtualTime) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    OneAlarm script;

    const LifeOutcome outcome = liveOn(world, script, root.path());

    EXPECT_TRUE(outcome.told) << outcome.why;
    EXPECT_EQ(outcome.how, LifeEnd::kPaused) << outcome.why;
    EXPECT_EQ(world.now, 120 * kSecond);
    ASSERT_EQ(script.mails().size(), 1u);
    EXPECT_NE(script.mails()[0].find("a fan has stopped"), std::string::npos);
}

TEST(Lives, beginOnTheDayThatTheWorldSays) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    world.calendar = 951827696;  // the 29th of February 2000
    OneAlarm script;

    liveOn(world, script, root.path());

    ASSERT_EQ(script.mails().size(), 1u);
    EXPECT_EQ(script.mails()[0].find("Date: Tue, 29  Feb  2000  12:35:"), 0u) << script.mails()[0];
}

TEST(Lives, reachAServerByItsLongAddress) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    world.servers[0].address = "2001:db8::25";
    world.set("Global.Callhome.NF-SMTPAddr", "2-2001:db8::25");
    OneAlarm script;

    liveOn(world, script, root.path());

    EXPECT_EQ(script.mails().size(), 1u);
}

TEST(Lives, areTheSameForTheSameSeedToTheLastByte) {
    const auto digestOf = [](std::uint64_t seed) {
        const BoxRoot root;
        World world = worldWithOperators(seed);
        OneAlarm script;
        EXPECT_EQ(liveOn(world, script, root.path()).how, LifeEnd::kPaused);
        return world.timeline.digest();
    };

    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        EXPECT_EQ(digestOf(seed), digestOf(seed)) << seed;
    }
    EXPECT_NE(digestOf(1), digestOf(2));
}

TEST(Lives, endWithTheNameOfACallThatTheBoxDoesNotOwn) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    OneAlarm script;
    script.inBetween = [] { ::usleep(1); };

    const LifeOutcome outcome = liveOn(world, script, root.path());

    EXPECT_EQ(outcome.how, LifeEnd::kUnowned);
    EXPECT_EQ(outcome.why, "usleep");
}

TEST(Lives, endWithTheirLastCallWhenTheyHang) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    OneAlarm script;
    script.inBetween = [] {
        const Aside aside;  // past the box
        ::poll(nullptr, 0, -1);
    };

    const LifeOutcome outcome = live(world, script, root.path(), 500);

    EXPECT_FALSE(outcome.told);
    EXPECT_EQ(outcome.why, "it hangs; its last call was poll");
}

TEST(Lives, endWhenNoThreadCanEverGoOn) {
    const BoxRoot root;
    World world = worldWithOperators(1);
    OneAlarm script;
    script.inBetween = [] {
        pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
        pthread_mutex_lock(&mutex);
        pthread_mutex_lock(&mutex);
    };

    const LifeOutcome outcome = liveOn(world, script, root.path());

    EXPECT_EQ(outcome.how, LifeEnd::kStuck);
    EXPECT_NE(outcome.why.find("thread 0 in pthread_mutex_lock"), std::string::npos) << outcome.why;
}

}  // namespace box
