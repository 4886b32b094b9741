// Random histories: what holds after every step of every one.
#include "box/model/ModelFixture.h"

#include <random>
#include <set>

namespace model {
namespace {

class History : public ModelFixture {
protected:
    unsigned draw(unsigned below) { return unsigned(random_() % below); }

    void happen() {
        switch (draw(16)) {
            case 0:
            case 1:
            case 2:
                event("event " + std::to_string(draw(6)), draw(2) == 0 ? 0 : 2);
                break;
            case 3:
                event(std::string(draw(200), 'x'));
                break;
            case 4:
                model_.testProfile(now_, 1, draw(3) == 0 ? "Nobody" : "Ops");
                break;
            case 5:
                draw(8) == 0 ? model_.clearQueue(now_, 2) : model_.queueInfo(now_, 3);
                break;
            case 6:
                model_.changeOver(now_, 4);
                break;
            case 7:
                draw(4) == 0 ? reconfigure() : model_.processedInfo(now_, 5);
                break;
            case 8:
                draw(20) == 0 ? restart() : tick();
                break;
            case 9:
                tick(1 + draw(30));
                break;
            case 10:
                draw(30) == 0 ? tick(4000) : tick();
                break;
            default:
                dialogue();
                break;
        }
    }
    void reconfigure() {
        set("Global.Callhome.FilesAllowed", std::to_string(draw(8)));
        set("Global.Callhome.FileSystemSpaceAllowed", std::to_string(500 + draw(4000)));
        set("Global.Callhome.ThrottleDupsEnable", draw(3) == 0 ? "False" : "True");
        set("Global.Callhome.DiscardPeriod", std::to_string(50 + draw(5000)));
        set("Global.Callhome.SMTPEnable1", draw(2) == 0 ? "False" : "True");
        model_.profileChange(now_, 6);
    }
    void restart() {
        if (draw(2) == 0) {
            model_.stop(now_);
        }
        model_.kill();
        model_.start(now_);
    }
    void dialogue() {
        const WireStep step = model_.wire();
        if (step.kind == WireStep::kConnect) {
            draw(4) == 0 ? failToConnect() : model_.connected(now_);
        } else if (step.kind == WireStep::kSpeak) {
            const char* const replies[] = {"450 later\r\n", "550 no\r\n", "closed", "silent"};
            const char* const reply = replies[draw(4)];
            if (draw(5) != 0) {
                model_.replied(now_, "250 ok\r\n");
            } else if (reply == std::string("closed")) {
                model_.closed(now_);
            } else if (reply == std::string("silent")) {
                model_.silent(now_);
            } else {
                model_.replied(now_, reply);
            }
        }
    }

    // --- What always holds ---
    void checkQueue() {
        const Queue& queue = *model_.queue();
        EXPECT_LE(queue.opened(), 1u);
        EXPECT_EQ(queue.waiting() + queue.opened(), queue.list(List::kSend).size());
        if (!queue.isOpen()) {
            return;
        }
        std::uint64_t bytes = 0;
        std::set<std::string> keys, paths;
        for (const List list : {List::kSend, List::kDuplicate, List::kPersist}) {
            std::set<std::uint32_t> numbers;
            for (const Entry& entry : queue.list(list)) {
                bytes += entry.message.size() + 164;
                EXPECT_TRUE(numbers.insert(entry.number).second) << "a number twice";
                EXPECT_TRUE(!entry.eligible || keys.insert(entry.message.key()).second) << "a countable event twice";
                if (!entry.test() && (list != List::kDuplicate || entry.message.duplicates > 0)) {
                    paths.insert(Queue::directory(list) + "/m" + std::to_string(entry.number));
                    checkFile(list, entry);
                }
            }
        }
        EXPECT_EQ(bytes, queue.bytesInUse());
        for (const auto& [path, file] : model_.flash().files) {
            EXPECT_TRUE(path.ends_with("/order") || paths.count(path) == 1) << path << " is nobody's";
        }
    }
    void checkFile(List list, const Entry& entry) {
        const std::string* const bytes =
            model_.flash().read(Queue::directory(list) + "/m" + std::to_string(entry.number));
        ASSERT_NE(bytes, nullptr);
        const std::optional<Message> message = messageIn(*bytes);
        ASSERT_TRUE(message);
        EXPECT_EQ(message->key(), entry.message.key());
        EXPECT_EQ(message->duplicates, entry.message.duplicates);
    }
    void checkWire() {
        const bool speaks = model_.wire().kind != WireStep::kNothing;
        EXPECT_EQ(speaks, model_.queue()->opened() == 1) << "an entry is open while a dialogue is under way";
    }

    std::string live(unsigned seed, int steps) {
        random_.seed(seed);
        model_ = Model(configured());
        now_ = {.uptime = 100, .seconds = 1700000000, .microseconds = 0};
        addSecondServer();
        setRecipients({"a@x.example", "b@x.example"});
        model_.start(now_);
        std::string seen;
        for (int step = 0; step < steps && !HasFailure(); ++step) {
            happen();
            checkQueue();
            checkWire();
            seen += model_.wire().bytes;
            for (const LogEntry& entry : model_.takeLog()) {
                seen += entry.text + "\n";
            }
            for (const Response& response : model_.takeResponses()) {
                seen += response.payload;
            }
        }
        return seen;
    }

    std::mt19937 random_;
};

TEST_F(History, keepsQueueAndFlashInStepWhateverHappens) {
    for (unsigned seed = 1; seed <= 20 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        live(seed, 400);
    }
}

TEST_F(History, isTheSameForTheSameSeed) {
    EXPECT_EQ(live(7, 1000), live(7, 1000));
}

TEST_F(History, endsWithAnEmptyQueueOnceServersTakeEverything) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE(seed);
        live(seed, 300);
        set("Global.Callhome.DiscardPeriod", "1000000");
        model_.profileChange(now_, 1);
        for (int turn = 0; turn < 4000 && (turn < 40 || entries(List::kSend) + entries(List::kDuplicate) > 0); ++turn) {
            play();
            tick();
        }
        EXPECT_EQ(entries(List::kSend) + entries(List::kDuplicate), 0u);
    }
}

}  // namespace
}  // namespace model
