#include "testing/mesgq/MesgQTest.h"

#include "MessageCodes.h"

#include <filesystem>

MesgQTest::MesgQTest() {
    component_.onBulk = [this](const DsBulkReply& reply) {
        EXPECT_EQ(reply.id, DsRequestId::QUEUE);
        EXPECT_EQ(queue_->processConfigBulk(reply.entries, reply.statuses), 0);
    };
    restart();
}

MesgQTest::~MesgQTest() {
    queue_.reset();
}

void MesgQTest::restart() {
    queue_.reset();
    queue_ = std::make_unique<OrvCHMesgQ>(component_.ds(), responses_, controller_);
}

void MesgQTest::configure(const Attributes& quotas) {
    const Attributes defaults = {{"ThrottleDupsEnable", "True"},
                                 {"ThrottleDupsPeriod", "15"},
                                 {"DiscardPeriod", "86400"},
                                 {"FileSystemSpaceAllowed", "5120000"},
                                 {"FilesAllowed", "100"}};
    for (const auto& [name, value] : defaults) {
        const auto given = quotas.find(name);
        switch_.set("Global.Callhome." + name, given == quotas.end() ? value : given->second);
    }
    EXPECT_EQ(queue_->readConfig(), 0);
    switch_.pump();
}

void MesgQTest::open(const Attributes& quotas) {
    configure(quotas);
    const Texts placed = sayThatNothingIsThere();
    queue_->setMonitorReady();
    queue_->oneSecondChores();
    for (const std::string& order : placed) {
        if (switch_.root().read(order).empty()) {
            std::filesystem::remove(switch_.root().at(order));
        }
    }
    ASSERT_TRUE(queue_->openForBusiness());
    takeLog();
    takeTrace();
}

// An empty order file in each empty directory: a start that finds it runs no shell. Those that were made.
MesgQTest::Texts MesgQTest::sayThatNothingIsThere() {
    Texts placed;
    for (const char* directory : {kDuplicateDir, kSendDir, kPersistDir}) {
        const std::filesystem::path path = switch_.root().at(directory);
        if (std::filesystem::is_directory(std::filesystem::symlink_status(path)) && std::filesystem::is_empty(path)) {
            placed.push_back(std::string(directory) + "/order");
            switch_.root().write(placed.back(), "");
        }
    }
    return placed;
}

void MesgQTest::restartAndOpen(const Attributes& quotas) {
    restart();
    open(quotas);
}

void MesgQTest::chores(std::uint32_t count) {
    for (; count > 0; --count) {
        seconds(1);
        queue_->oneSecondChores();
    }
}

void MesgQTest::mailNext(int result) {
    OrvCHMesg* const next = queue_->peekOpen();
    ASSERT_NE(next, nullptr);
    ASSERT_EQ(queue_->peekDelete(next, result), 0);
}

void MesgQTest::park(const std::string& text) {
    ASSERT_EQ(add(text), 0);
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{text}) << "only an empty send queue mails it next";
    mailNext();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE).back(), text);
}
