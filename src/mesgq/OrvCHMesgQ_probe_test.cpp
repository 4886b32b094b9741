#include "testing/mesgq/MesgQTest.h"

namespace {

class OrvCHMesgQProbeTest : public MesgQTest {
protected:
    Texts probe() {
        takeTrace();
        EXPECT_EQ(queue_->probe(), 0);
        return takeTrace();
    }
    // A heading, and a line for each label with its value.
    static std::string page(const char* heading, const std::vector<std::pair<const char*, std::string>>& lines) {
        std::string text = std::string("probe: ") + heading + ":\n";
        for (const auto& [label, value] : lines) {
            std::string padded = label;
            padded.resize(32, ' ');
            text += "  " + padded + "= " + value + "\n";
        }
        return text + "\n";
    }
};

TEST_F(OrvCHMesgQProbeTest, showsAFreshQueue) {
    EXPECT_EQ(probe(), (Texts{"probe: Entry\n",
                              "probe: Call Home Message Queue Information:\n"
                              "  queueOpenForBusiness            = false\n"
                              "  syncInProgress                  = false\n"
                              "  configDataRead                  = false\n"
                              "  pendingDuplicateFlush           = false\n"
                              "  spaceAllowed                    = -1 (bytes)\n"
                              "  spaceInUse (total all queues)   = 0 (bytes)\n"
                              "  spaceInUse (init queue)         = 0 (bytes)\n"
                              "  spaceInUse (send queue)         = 0 (bytes)\n"
                              "  spaceInUse (duplicate queue)    = 0 (bytes)\n"
                              "  spaceInUse (persit queue)       = 0 (bytes)\n"
                              "  message count (init queue)      = 0\n"
                              "  files allowed (send queue)      = -1\n"
                              "  message count (send queue)      = 0\n"
                              "  message count (duplicate queue) = 0\n"
                              "  message count (persist queue)   = 0\n"
                              "  throttleDuplicates              = true\n"
                              "  throttleDuplicatesPeriod        = 15 (seconds)\n"
                              "  discardPeriod                   = -1 (seconds)\n\n",
                              "probe: Call Home Message Queue Internal Stats:\n"
                              "  total messages received         = 0\n"
                              "  test messages received          = 0\n"
                              "  persistent messages received    = 0\n"
                              "  duplicate messages received     = 0\n"
                              "  reconstituted messages          = 0\n"
                              "  messages deleted for space      = 0\n"
                              "  messages deleted for file limit = 0\n"
                              "  messages deleted for time       = 0\n"
                              "  messages deleted for clear req  = 0\n"
                              "  messages send OK                = 0\n"
                              "  messages could not be added     = 0\n"
                              "  currently open messages         = 0\n\n"}));
}

TEST_F(OrvCHMesgQProbeTest, showsEveryQueueItsSettingsAndItsHistory) {
    switch_.root().write(std::string(kSendDir) + "/m0", messageFile("restored"));
    add("early");
    open({{"ThrottleDupsEnable", "True"},
          {"ThrottleDupsPeriod", "30"},
          {"DiscardPeriod", "7200"},
          {"FileSystemSpaceAllowed", "100000"},
          {"FilesAllowed", "8"}});
    mailNext();  // the restored one; deleted, for it may not be parked
    mailNext();  // the early one; parked
    addPersistent("lasting", 60, -1);
    mailNext();
    add("one");
    add("one");
    addTest("test", "Profile");
    queue_->peekOpen();
    queue_->add(message("both"), true, true, 1, 1, false);
    queue_->setSyncInProgress(true);
    queue_->flushDuplicateQueue();

    const std::uint32_t early = charge("early");
    const std::uint32_t lasting = charge("lasting");
    const std::uint32_t sending = charge("one") + charge("test");
    const auto text = [](std::uint32_t number) { return std::to_string(number); };
    EXPECT_EQ(probe(), (Texts{"probe: Entry\n",
                              "probe: Call Home Message Queue Information:\n"
                              "  queueOpenForBusiness            = true\n"
                              "  syncInProgress                  = true\n"
                              "  configDataRead                  = true\n"
                              "  pendingDuplicateFlush           = true\n"
                              "  spaceAllowed                    = 100000 (bytes)\n"
                              "  spaceInUse (total all queues)   = " +
                                  text(early + lasting + sending) +
                                  " (bytes)\n"
                                  "  spaceInUse (init queue)         = 0 (bytes)\n"
                                  "  spaceInUse (send queue)         = " +
                                  text(sending) +
                                  " (bytes)\n"
                                  "  spaceInUse (duplicate queue)    = " +
                                  text(early) +
                                  " (bytes)\n"
                                  "  spaceInUse (persit queue)       = " +
                                  text(lasting) +
                                  " (bytes)\n"
                                  "  message count (init queue)      = 0\n"
                                  "  files allowed (send queue)      = 8\n"
                                  "  message count (send queue)      = 1\n"
                                  "  message count (duplicate queue) = 1\n"
                                  "  message count (persist queue)   = 1\n"
                                  "  throttleDuplicates              = true\n"
                                  "  throttleDuplicatesPeriod        = 30 (seconds)\n"
                                  "  discardPeriod                   = 7200 (seconds)\n\n",
                              "probe: Call Home Message Queue Internal Stats:\n"
                              "  total messages received         = 6\n"
                              "  test messages received          = 2\n"
                              "  persistent messages received    = 2\n"
                              "  duplicate messages received     = 1\n"
                              "  reconstituted messages          = 1\n"
                              "  messages deleted for space      = 0\n"
                              "  messages deleted for file limit = 0\n"
                              "  messages deleted for time       = 0\n"
                              "  messages deleted for clear req  = 0\n"
                              "  messages send OK                = 3\n"
                              "  messages could not be added     = 1\n"
                              "  currently open messages         = 1\n\n"}));
}

TEST_F(OrvCHMesgQProbeTest, showsTheInitQueue) {
    add("early");
    const Texts traced = probe();
    EXPECT_THAT(traced[1], testing::HasSubstr("  spaceInUse (init queue)         = " + std::to_string(charge("early")) +
                                              " (bytes)\n"));
    EXPECT_THAT(traced[1], testing::HasSubstr("  message count (init queue)      = 1\n"));
}

TEST_F(OrvCHMesgQProbeTest, eachDeletionIsCountedByItsReason) {
    open({{"FilesAllowed", "1"}, {"FileSystemSpaceAllowed", std::to_string(charge("one"))}});
    add("one");
    add("two");  // "one" goes for space: four bytes are missing, and nothing else is there
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 1u);
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    add("one");
    seconds(86401);
    queue_->oneSecondChores();
    const Texts traced = probe();
    EXPECT_THAT(traced[2], testing::HasSubstr("  messages deleted for space      = 1\n"
                                              "  messages deleted for file limit = 0\n"
                                              "  messages deleted for time       = 1\n"));
}

TEST_F(OrvCHMesgQProbeTest, everyLineShowsItsOwnValue) {
    open({{"ThrottleDupsPeriod", "30"},
          {"DiscardPeriod", "7200"},
          {"FileSystemSpaceAllowed", "100000"},
          {"FilesAllowed", "8"}});
    park("parked");
    for (const char* text : {"lasting", "longer lasting"}) {
        addPersistent(text, 60, -1);
        mailNext();
    }
    for (const char* text : {"1", "2", "3", "4"}) {
        add(text);
    }
    queue_->peekOpen();
    // Twelve different ones, in the order of the page.
    const_cast<OrvCHMesgQStatistics&>(queue_->statistics()) = OrvCHMesgQStatistics{
        .totalReceived = 21,
        .testReceived = 22,
        .persistentReceived = 23,
        .duplicateReceived = 24,
        .reconstituted = 25,
        .deletedForSpace = 26,
        .deletedForFileLimit = 27,
        .deletedForTime = 28,
        .deletedForClearReq = 29,
        .sendOk = 30,
        .couldNotBeAdded = 31,
        .openCount = 1,
        .persistentDeleted = 33,
    };

    const auto text = [](std::uint32_t number) { return std::to_string(number); };
    const auto bytes = [](std::uint32_t number) { return std::to_string(number) + " (bytes)"; };
    const std::uint32_t parked = charge("parked");
    const std::uint32_t lasting = charge("lasting") + charge("longer lasting");
    const std::uint32_t sending = 4 * charge("1");
    EXPECT_EQ(probe(),
              (Texts{"probe: Entry\n",
                     page("Call Home Message Queue Information",
                          {{"queueOpenForBusiness", "true"},
                           {"syncInProgress", "false"},
                           {"configDataRead", "true"},
                           {"pendingDuplicateFlush", "false"},
                           {"spaceAllowed", bytes(100000)},
                           {"spaceInUse (total all queues)", bytes(parked + lasting + sending)},
                           {"spaceInUse (init queue)", bytes(0)},
                           {"spaceInUse (send queue)", bytes(sending)},
                           {"spaceInUse (duplicate queue)", bytes(parked)},
                           {"spaceInUse (persit queue)", bytes(lasting)},
                           {"message count (init queue)", text(0)},
                           {"files allowed (send queue)", text(8)},
                           {"message count (send queue)", text(3)},
                           {"message count (duplicate queue)", text(1)},
                           {"message count (persist queue)", text(2)},
                           {"throttleDuplicates", "true"},
                           {"throttleDuplicatesPeriod", "30 (seconds)"},
                           {"discardPeriod", "7200 (seconds)"}}),
                     page("Call Home Message Queue Internal Stats", {{"total messages received", text(21)},
                                                                     {"test messages received", text(22)},
                                                                     {"persistent messages received", text(23)},
                                                                     {"duplicate messages received", text(24)},
                                                                     {"reconstituted messages", text(25)},
                                                                     {"messages deleted for space", text(26)},
                                                                     {"messages deleted for file limit", text(27)},
                                                                     {"messages deleted for time", text(28)},
                                                                     {"messages deleted for clear req", text(29)},
                                                                     {"messages send OK", text(30)},
                                                                     {"messages could not be added", text(31)},
                                                                     {"currently open messages", text(1)}})}));
}

TEST_F(OrvCHMesgQProbeTest, everyFlagIsShownByItself) {
    const auto flags = [this](const char* isOpen, const char* sync, const char* read, const char* flush,
                              const char* throttle) {
        const std::string information = probe().at(1);
        EXPECT_THAT(information, testing::HasSubstr(std::string("Information:\n  queueOpenForBusiness            = ") +
                                                    isOpen + "\n  syncInProgress                  = " + sync +
                                                    "\n  configDataRead                  = " + read +
                                                    "\n  pendingDuplicateFlush           = " + flush + "\n"));
        EXPECT_THAT(information,
                    testing::HasSubstr(std::string("  throttleDuplicates              = ") + throttle + "\n"));
    };
    configure({{"ThrottleDupsEnable", "False"}});
    flags("false", "false", "true", "false", "false");  // configured, but not open yet
    queue_->setSyncInProgress(true);
    flags("false", "true", "true", "false", "false");
    queue_->flushDuplicateQueue();
    queue_->setSyncInProgress(false);
    flags("false", "false", "true", "true", "false");
    restart();
    queue_->setSyncInProgress(true);
    flags("false", "true", "false", "false", "true");
}

}  // namespace
