// The receiver's messages to and from the main thread.
#include "Hsb_Component.h"
#include "sync/OrvSyncSec.h"
#include "testing/dbg/RecordedEventLog.h"
#include "testing/sync/SyncFixture.h"
#include "testing/thread/ServeUntil.h"
#include "thread/OrvThread.h"

#include <filesystem>
#include <memory>
#include <thread>

namespace {

using Entries = std::vector<RecordedEntry>;

class Component final : public Hsb_Component {
    int component_name(char*, int) override { return 0; }
    int handle_message(Hsb_Message*) override { return 0; }
};

// A receiver that has something to say.
class TalkingReceiver final : public OrvSyncSec {
public:
    using OrvSyncSec::OrvSyncSec;
    using OrvThread::pushSwLogAppMesg;
    using OrvThread::pushToMain;
    using OrvThread::pushToThread;
    int serveOwnQueue() {
        const Timeval limit(20, 0);
        return dispatcher().handle_events(&limit);
    }
};

class OrvSyncSecMessages : public SyncFixture {
protected:
    OrvSyncSecMessages() {
        std::filesystem::create_directories(onHost("/ostrel/conf/orv/callHome/sync"));
        recordedEventLog().clear();
    }

    std::string unknown(const std::string& function, int code) const {
        return lines("OrvThread", {{function, "Thread(" + std::to_string(getpid()) +
                                                  ") received unknown message code " + std::to_string(code)}});
    }

    Component component_;
};

TEST_F(OrvSyncSecMessages, writeTheEntriesOfTheThreadToTheEventLog) {
    OrvSyncSec receiver(at(0));
    OrvThreadSwLogApp request({3, 0x8b000013, 5, 6, 77, &component_, "100% %s %n"});

    receiver.handleMainMesg(&request);

    EXPECT_EQ(recordedEventLog(), (Entries{{false, 3, 0x8b000013, {5, -1, 6, -1}, 77, &component_, "100% %s %n"}}));
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncSecMessages, ofUnknownCodeToTheMainThreadAreOnlyTraced) {
    OrvSyncSec receiver(at(0));
    OrvToMainMesg unknownMesg(9);

    receiver.handleMainMesg(&unknownMesg);

    EXPECT_EQ(recordedEventLog(), Entries{});
    EXPECT_EQ(traced(), unknown("handleMainMesg", 9));
}

TEST_F(OrvSyncSecMessages, ofAnyCodeToTheThreadAreOnlyTraced) {
    OrvSyncSec receiver(at(0));
    for (const std::uint32_t code : {0u, 1u, 3u, 77u}) {
        OrvToThreadMesg mesg(code);

        receiver.handleThreadMesg(&mesg);

        EXPECT_EQ(traced(), unknown("handleThreadMesg", static_cast<int>(code)));
    }
    EXPECT_EQ(recordedEventLog(), Entries{});
}

TEST_F(OrvSyncSecMessages, travelThroughTheQueuesOfTheReceiver) {
    TalkingReceiver receiver(at(0));
    int served = 0;
    ASSERT_EQ(receiver.pushToThread(std::make_unique<OrvToThreadMesg>(78)), 0);

    std::thread([&] {
        const ThreadLogger own("orv.out.Worker");
        served = receiver.serveOwnQueue();
        receiver.pushSwLogAppMesg(2, 0x8b000012, -1, -1, 4096, &component_, "from the thread");
        EXPECT_EQ(recordedEventLog(), Entries{});  // nothing on the thread itself
    }).join();
    EXPECT_TRUE(serveUntil([] { return recordedEventLog().size() == 1; }));

    EXPECT_EQ(served, 1);
    EXPECT_EQ(file("orv.out.Worker"), unknown("handleThreadMesg", 78));
    EXPECT_EQ(recordedEventLog(),
              (Entries{{false, 2, 0x8b000012, {-1, -1, -1, -1}, 4096, &component_, "from the thread"}}));
    EXPECT_EQ(traced(), "");
}

}  // namespace
