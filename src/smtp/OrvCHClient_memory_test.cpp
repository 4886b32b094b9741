// What the client does when there is no memory for a message between its threads, or for what it has to say.
#include "Dispatcher.h"
#include "Timeval.h"
#include "base/OrvSteps.h"
#include "smtp/OrvSMTPSystem.h"
#include "testing/FailingCalls.h"
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// From its connection on, the thread that sends has no memory for messages.
class ShortFromConnectOn final : public OrvSMTPSystem {
public:
    int connect(int socket, const sockaddr* address, socklen_t length) override {
        noMemory_ = std::make_unique<FailingMemory>(MemoryFaults::kNothrow);
        return OrvSMTPSystem::connect(socket, address, length);
    }

private:
    std::unique_ptr<FailingMemory> noMemory_;
};

class OrvCHClientMemory : public ClientTest {
protected:
    // Sends without memory for messages between the threads: what is in hand is used up and cannot be replaced.
    void sendWithoutMemoryForMessages(const std::string& text) {
        queueMail(text);
        OrvCHClientSend send(queue_.peekOpen());
        const FailingMemory noMemory(MemoryFaults::kNothrow);
        client_.handleThreadMesg(&send);
        EXPECT_TRUE(noMemory.failed());
    }

    // Sends on a thread of its own, which is what ends if it must: whether it came back. So many allocations of it
    // succeed, and then so many fail.
    bool cameBackFromSending(OrvCHMesg& message, unsigned after, unsigned inARow, bool& failed) {
        bool cameBack = false;
        std::thread sender([&] {
            OrvCHClientSend send(&message);
            const FailingMemory noMemory(MemoryFaults::kObjects, after, inARow);
            const OrvAtEnd look([&] { failed = noMemory.failed(); });
            client_.handleThreadMesg(&send);
            cameBack = true;
        });
        sender.join();
        return cameBack;
    }

    static std::ptrdiff_t openDescriptors() {
        namespace fs = std::filesystem;
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    // Serves the main thread until no dialogue is running. In every turn this allocation fails. True when one did.
    bool awaitOutcomeWithFailing(unsigned after) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        bool failed = false;
        while (client_.sendOutstanding()) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "sending never ends";
                break;
            }
            const Timeval limit(0, 5000);
            const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
            try {
                [[maybe_unused]] const int calls = Dispatcher::instance()->handle_events(&limit);
            } catch (const std::bad_alloc&) {
                // The loop's own: the next turn goes on.
            }
            failed = failed || noMemory.failed();
        }
        return failed;
    }

    // Sends one mail after the other; each time another allocation fails while the outcome is handled, until none is
    // left to fail. Then the mail reaches the good server all the same.
    void failEachAllocationOfTheOutcome(const std::function<void()>& prepare, const std::function<void()>& recover) {
        startSending();
        unsigned failures = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            SCOPED_TRACE(after);
            prepare();
            queueMail("mail", {"a@x", "b@x"});
            client_.oneSecondTick();
            ASSERT_TRUE(client_.sendOutstanding());
            failed = awaitOutcomeWithFailing(after);
            failures += failed ? 1 : 0;
            recover();
            EXPECT_EQ(queue_.openCount(), 0u);
            tick(5);  // as long as a retry waits
            EXPECT_EQ(queue_.sendCount(), 0u) << "the mail was sent again";
            EXPECT_FALSE(client_.retryPending());
        }
        EXPECT_GE(failures, 1u);
    }
};

}  // namespace

TEST_F(OrvCHClientMemory, endsItsThreadBeforeItSendsWhatItCouldNotTellTheSuccessOf) {
    useServerA();
    sendWithoutMemoryForMessages("mail");
    EXPECT_EQ(serverA_.mailsTaken().size(), 1u);
    recording_.takeTraces();

    sendWithoutMemoryForMessages("another mail");

    EXPECT_THAT(recording_.takeTraces(),
                ElementsAre("OrvCHClient handleSendMesg: Failure to allocate OrvCHClientSucceed object\n",
                            "OrvCHClient handleSendMesg: Send thread exiting\n"));
    EXPECT_EQ(serverA_.connections(), 1u);
    EXPECT_EQ(client_.startThread(), 0);
    serveUntil([&] { return client_.running() && client_.refcnt() == 1; });
}

// Its message stays outstanding: the thread never says what became of it.
TEST_F(OrvCHClientMemory, isNotSendingWhenItsThreadHasEndedWithoutAWord) {
    ShortFromConnectOn system;
    OrvCHClient client(recording_.store(), queue_, identity_, *this, impatientAfterQuit(), system);
    const auto entries = serverEntries("1-127.0.0.1", serverA_.port(), "", 0);
    ASSERT_EQ(client.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0)), 0);
    ASSERT_EQ(client.startThread(), 0);
    client.switchAddressChanged();
    serveUntil([&] { return client.running(); });
    queueMail("mail");
    queueMail("lost mail");  // follows at once, and ends the thread

    client.oneSecondTick();

    EXPECT_TRUE(client.sending());
    serveUntil([&] { return client.ended() && queue_.finished().size() == 1; });
    EXPECT_EQ(serverA_.mailsTaken().size(), 1u);
    EXPECT_EQ(queue_.openCount(), 1u);
    EXPECT_TRUE(client.sendOutstanding());
    EXPECT_FALSE(client.sending());
}

TEST_F(OrvCHClientMemory, endsItsThreadBeforeItSendsWhatItCouldNotTellTheFailureOf) {
    serverA_.answerOnce(MailStage::kMail, ScriptedReply::line("451 busy"));
    useServerA();
    sendWithoutMemoryForMessages("mail");
    recording_.takeTraces();

    sendWithoutMemoryForMessages("another mail");

    EXPECT_THAT(recording_.takeTraces(),
                ElementsAre("OrvCHClient handleSendMesg: Failure to allocate OrvCHClientFail object\n",
                            "OrvCHClient handleSendMesg: Send thread exiting\n"));
    EXPECT_EQ(serverA_.connections(), 1u);
}

// Each allocation of a send is in turn the first that fails. What it reached stays reached, what it did not is sent
// with the next try, its entries are told, and nothing stays open. Longer rows of failures begin at every seventh.
TEST_F(OrvCHClientMemory, deliversEachMailOnceWhicheverAllocationsOfItsSendFail) {
    useServerA();
    serverA_.answerRecipient("c@x", ScriptedReply::line("550 nobody of this name, and there never was one"));
    const std::ptrdiff_t before = openDescriptors();
    std::size_t mails = 0;
    for (const unsigned inARow : {1u, 5u, 50u}) {
        bool failed = true;
        for (unsigned after = 0; failed; after += inARow == 1 ? 1 : 7) {
            SCOPED_TRACE(std::to_string(inARow) + " after " + std::to_string(after));
            OrvCHMesg& message = queueMail("mail", {"a@x", "c@x"});
            addEnvelope(message, "vendor", {"v@x"}, "ShortText");
            ASSERT_TRUE(cameBackFromSending(*queue_.peekOpen(), after, inARow, failed));
            serveUntil([&] { return client_.retryPending() || queue_.sendCount() == 0; });
            if (client_.retryPending()) {
                bool failedAgain = false;
                ASSERT_TRUE(cameBackFromSending(*queue_.peekOpen(), 0, 0, failedAgain));
                serveUntil([&] { return queue_.sendCount() == 0; });
            }

            mails += 2;
            ASSERT_EQ(serverA_.mailsTaken().size(), mails);
            ASSERT_THAT(takeLog(), testing::Contains(LogTexts{serverA_}.noRetry("noc", "c@x")).Times(1));
            ASSERT_TRUE(serverA_.waitUntil([&] { return serverA_.openConnections() == 0; }));
            ASSERT_EQ(openDescriptors(), before);
        }
    }
}

TEST_F(OrvCHClientMemory, raisesBothAlarmsBeforeItEndsTheProcess) {
    useServerA();
    startSending();
    queueMail("mail");
    recording_.takeTraces();
    recording_.echo();

    EXPECT_EXIT(
        {
            const FailingMemory noMemory(MemoryFaults::kNothrow, 0, 1);
            client_.oneSecondTick();
        },
        testing::ExitedWithCode(1),
        "^alarm 0 10050034 System resource error - contact technical support\n"
        "alarm 16 0 OrvApp - cannot allocate memory\n$");

    EXPECT_THAT(recording_.takeTraces(), ElementsAre("OrvCHClient pushSendMesg: Failure to allocate OrvCHClientSend "
                                                     "object\n",
                                                     "OrvCHClient pushSendMesg: Main thread exiting\n"));
    tick();
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0")) << "in this process all is well";
}

TEST_F(OrvCHClientMemory, sendsAgainAfterAFailureThatCouldNotBeReported) {
    useBothServers();
    failEachAllocationOfTheOutcome(
        [this] {
            serverA_.answer(MailStage::kMail, ScriptedReply::line("451 busy"));
            serverB_.answer(MailStage::kMail, ScriptedReply::line("451 busy"));
        },
        [this] {
            serverA_.answer(MailStage::kMail, ScriptedReply::line("250 ok"));
            serverB_.answer(MailStage::kMail, ScriptedReply::line("250 ok"));
            EXPECT_TRUE(client_.retryPending());
            EXPECT_EQ(client_.countdown(), 5);
        });
}

TEST_F(OrvCHClientMemory, changesOverAfterAFailureThatCouldNotBeReported) {
    serverA_.answer(MailStage::kMail, ScriptedReply::line("451 busy, and will be for quite a while"));
    failEachAllocationOfTheOutcome([this] { useBothServers(); },
                                   [this] { EXPECT_EQ(client_.servers().active().Port, serverB_.port()); });
    EXPECT_EQ(serverA_.mailsTaken().size(), 0u);
    EXPECT_EQ(serverA_.connections(), serverB_.connections());
}

// So little memory that it does not even learn whom to send to, after a dialogue that failed for reasons of its own.
TEST_F(OrvCHClientMemory, reportsACriticalFailureWhenADialogueCannotBegin) {
    // Its server twice, and the entry about its end.
    constexpr char kServer[] = "mail.of.a.long.name.example.com";
    struct {
        unsigned after;
        const char* server;
        int port;
    } const rows[] = {{0, "", 0}, {1, kServer, 25}, {2, kServer, 25}, {3, kServer, 25}};
    serverA_.answer(MailStage::kMail, ScriptedReply::line("554 no mail today"));
    for (const auto& [after, server, port] : rows) {
        useServerA();
        queueMail("mail");
        OrvCHClientSend send(queue_.peekOpen());
        client_.handleThreadMesg(&send);
        serveUntil([&] { return client_.retryPending(); });
        configure(serverEntries("3-mail.of.a.long.name.example.com", 25, "", 0));
        ASSERT_FALSE(client_.retryPending());
        takeLog();

        OrvCHClientSend again(queue_.peekOpen());
        {
            const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
            client_.handleThreadMesg(&again);
            EXPECT_TRUE(noMemory.failed());
        }
        serveUntil([&] { return client_.retryPending(); });

        EXPECT_THAT(takeLog(),
                    ElementsAre(kCriticalLine, logLine(orv_log::kSendFailed, server, port, "", "std::bad_alloc", ""),
                                logLine(orv_log::kRetryLater, kServer, 25, 5)));
        queue_.clear();
    }
}

TEST_F(OrvCHClientMemory, sendsAgainAfterASecondTryThatCouldNotBeAnnounced) {
    failEachAllocationOfTheOutcome(
        [this] {
            serverA_.answerRecipientOnce("b@x", ScriptedReply::line("452 full"));
            // A is active again. B's address is too long to be kept in place.
            configure(serverEntries("1-127.0.0.1", serverA_.port(), "2-0000:0000:0000:0000:0000:0000:0000:0001",
                                    serverB_.port()));
        },
        [] {});
}

TEST_F(OrvCHClientMemory, sendsAgainAfterASuccessThatTheQueueCouldNotTakeNoteOf) {
    useServerA();
    failEachAllocationOfTheOutcome([] {}, [] {});
}

// A moment without memory costs nothing: nobody asks for the servers again. However long it lasts, they count as read.
TEST_F(OrvCHClientMemory, reportsTheConfigurationAsReadWhicheverAllocationsFail) {
    const std::vector<DsEntry> entries = serverEntries("3-mail.of.a.long.name.example.com", 25, "", 0);
    const std::vector<std::int32_t> statuses(entries.size(), 0);
    const auto failEach = [this](unsigned inARow, const std::function<void()>& step) {
        unsigned thrown = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            completed_.clear();
            {
                const FailingMemory noMemory(MemoryFaults::kThrowing, after, inARow);
                try {
                    step();
                } catch (const std::bad_alloc&) {
                    ++thrown;
                }
                failed = noMemory.failed();
            }
            EXPECT_THAT(completed_, ElementsAre(2u)) << after;
        }
        return thrown;
    };
    const auto answer = [&] { EXPECT_EQ(client_.processConfigBulk(entries, statuses), 0); };
    const auto ask = [&] {
        recording_.refuseRequest(1);
        EXPECT_EQ(client_.readConfig(), -1);
    };

    EXPECT_EQ(failEach(1, answer), 0u);
    EXPECT_EQ(client_.servers().primary.Address, "mail.of.a.long.name.example.com");
    EXPECT_EQ(failEach(1, ask), 0u);
    EXPECT_GE(failEach(1000, answer), 1u);
    EXPECT_GE(failEach(1000, ask), 1u);
}
