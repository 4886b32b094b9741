// The fixture of the queue's tests without memory.
#pragma once

#include "dbg/OrvEventLog.h"
#include "testing/FailingCalls.h"
#include "testing/mesgq/MesgQTest.h"

#include <filesystem>
#include <functional>
#include <string>

class OrvCHMesgQMemoryTest : public MesgQTest {
protected:
    OrvCHMesgQMemoryTest() { open(); }

    // An empty flash again, and a queue on it.
    void wipe() {
        empty();
        restartAndOpen();
    }
    // An empty flash again, and a queue that only has to be opened; a shell lists nothing but the send queue.
    void wipeForAStart() {
        empty();
        std::filesystem::remove(switch_.root().at(std::string(kSendDir) + "/order"));
        restart();
        configure();
        queue_->setMonitorReady();
        takeTexts();
    }
    // Runs step once for each of its allocations, prepare before each, with that one failing and so many in all, and
    // once with none.
    void failEachAllocation(const std::function<void()>& prepare, const std::function<void()>& step,
                            const std::function<void(bool failed)>& check, unsigned burst = 1) {
        bool failed = true;
        for (unsigned nth = 1; failed; ++nth) {
            SCOPED_TRACE(std::to_string(burst) + " from " + std::to_string(nth));
            wipe();
            prepare();
            takeTexts();
            {
                const FailingMemory failing(MemoryFaults::kObjects, nth - 1, burst);
                step();
                failed = failing.failed();
            }
            check(failed);
            checkConsistency(false);
            takeTexts();
        }
    }
    // The texts of the event log's entries and alarms since the last call.
    Texts takeTexts() {
        // What found no memory for its delivery on the test's bus waits there until something else is sent.
        orvLog(orv_log::kRecovered);
        switch_.pump();
        Texts taken;
        for (const LogEntry& each : switch_.logEntries()) {
            taken.push_back(each.text);
        }
        EXPECT_EQ(taken.back(), orv_log::kRecovered.text);
        taken.pop_back();
        switch_.forgetEventLog();
        return taken;
    }

private:
    void empty() {
        queue_.reset();
        std::filesystem::remove_all(switch_.root().at("/ostrel/conf/orv"));
        for (const char* directory : {kSendDir, kDuplicateDir, kPersistDir}) {
            switch_.root().write(std::string(directory) + "/order", "");  // opens without a shell
        }
    }
};
