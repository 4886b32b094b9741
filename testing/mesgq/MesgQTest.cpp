#include "testing/mesgq/MesgQTest.h"

#include "Log_Event.h"
#include "MessageCodes.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "platform/wire/ManagementWire.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sstream>

namespace {

constexpr char kNow[] = "Tue Nov 14 22:13:20 UTC 2023";

void openEventLog() {
    if (!Log_Event::instance_m) {
        Log_Event::instance_m = new Log_Event;
    }
    Log_Event::instance_m->open();
}

// Where the next trace line begins: "11/14/2023 UTC ", and not always after a line feed.
std::size_t nextPrefix(const std::string& text, std::size_t from) {
    for (std::size_t zone = text.find(" UTC ", from + 10); zone != std::string::npos;
         zone = text.find(" UTC ", zone + 1)) {
        const std::string date = text.substr(zone - 10, 10);
        if (date[2] == '/' && date[5] == '/' && date.find_first_not_of("0123456789/") == std::string::npos) {
            return zone - 10;
        }
    }
    return text.size();
}

}  // namespace

MesgQTest::MesgQTest() {
    setenv("TZ", "UTC", 1);
    tzset();
    openEventLog();
    EXPECT_EQ(OrvDbg::setOfThread(&logger_), 0);
    component_.insert();
    setOrvApplication(&component_);
    responses_.setReady(&component_, ServiceAddress::MANAGEMENT);
    component_.onBulk = [this](const DsBulkReply& reply) {
        EXPECT_EQ(reply.id, DsRequestId::QUEUE);
        EXPECT_EQ(queue_->processConfigBulk(reply.entries, reply.statuses), 0);
    };
    switch_.pump();
    restart();
}

MesgQTest::~MesgQTest() {
    queue_.reset();
    setOrvApplication(nullptr);
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
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

std::unique_ptr<OrvCHMesg> MesgQTest::message(const std::string& text) {
    auto made = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);
    made->Time = kNow;
    made->ID = "0042.0001";
    made->Text = text;
    made->logEvent()->Level = 2;
    made->logEvent()->App = "Zoning";
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->MaxSize = 650;
    envelope->Type = "FullText";
    envelope->ProfileName = "Profile";
    envelope->Subject = "Subject";
    envelope->Recipients = {"somebody@example.org"};
    made->addEnvelope(std::move(envelope));
    return made;
}

std::uint32_t MesgQTest::charge(const std::string& text) {
    return static_cast<std::uint32_t>(message(text)->bytesToSave()) + 164;
}

std::string MesgQTest::messageFile(const std::string& text, int duplicates, const std::string& duplicateTime) {
    return "<OrvCHMesg>\n<DupCnt>\n" + std::to_string(duplicates) + "\n</->\n<DupTime>\n" + duplicateTime +
           "\n</->\n<Time>\n" + kNow + "\n</->\n<ID>\n0042.0001\n</->\n<Level>\nCritical\n</->\n<App>\nZoning\n</->\n" +
           "<Text>\n" + text + "\n</->\n<EnvelopeList>\n<OrvCHEnvelope>\n<MaxSize>\n650\n</->\n<Type>\nFullText\n" +
           "</->\n<Profile>\nProfile\n</->\n<Subj>\nSubject\n</->\n<RcptList>\nsomebody@example.org\n</RcptList>\n" +
           "</OrvCHEnvelope>\n</EnvelopeList>\n</OrvCHMesg>\n";
}

std::string MesgQTest::stateBlock(unsigned duplicatesPending, unsigned marked, const std::string& persist,
                                  unsigned period, int expire) {
    return "<OrvCHMesgQ>\nduplicatesPending = " + std::to_string(duplicatesPending) + "\npersist = " + persist +
           "\npersistRepostPeriod = " + std::to_string(period) + "\nmarkedForDeletion = " + std::to_string(marked) +
           "\nexpire = " + std::to_string(expire) + "\n</OrvCHMesgQ>\n";
}

int MesgQTest::addTest(const std::string& text, const std::string& profile) {
    auto test = message(text);
    test->TestProfile = profile;
    return queue_->add(std::move(test), true, false, 86400, -1, false);
}

int MesgQTest::addPersistent(const std::string& text, std::uint32_t period, std::int32_t expire) {
    return queue_->add(message(text), false, true, period, expire, false);
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

MesgQTest::Texts MesgQTest::texts(ORV_CH_MESG_Q_TYPE type) const {
    Texts found;
    for (const OrvCHMesgQEntry& each : queue_->queue(type)) {
        found.push_back(each.message->Text);
    }
    return found;
}

MesgQTest::Ids MesgQTest::ids(ORV_CH_MESG_Q_TYPE type) const {
    Ids found;
    for (const OrvCHMesgQEntry& each : queue_->queue(type)) {
        found.push_back(each.uniqueId);
    }
    return found;
}

OrvCHMesgQEntry& MesgQTest::entry(ORV_CH_MESG_Q_TYPE type, std::size_t position) const {
    for (OrvCHMesgQEntry& each : queue_->queue(type)) {
        if (position-- == 0) {
            return each;
        }
    }
    throw std::out_of_range("no such entry");
}

void MesgQTest::checkConsistency(bool checkFiles) {
    std::uint32_t bytes = 0;
    std::uint32_t openEntries = 0;
    for (const auto type : {ORV_CH_MESG_Q_INIT, ORV_CH_MESG_Q_SEND, ORV_CH_MESG_Q_DUPLICATE, ORV_CH_MESG_Q_PERSIST}) {
        const OrvCHMesgQQueue& queue = queue_->queue(type);
        std::uint32_t charged = 0;
        Texts expected;
        for (const OrvCHMesgQEntry& each : queue) {
            charged += each.bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
            openEntries += each.open;
            if (!each.posting.testMsg && (type != ORV_CH_MESG_Q_DUPLICATE || each.message->DuplicateCount > 0)) {
                expected.push_back("m" + std::to_string(each.uniqueId));
            }
        }
        EXPECT_EQ(queue.bytes(), charged) << queue.name();
        bytes += charged;
        if (checkFiles && queue.hasFiles() && queue_->openForBusiness()) {
            Texts found = files(orvQueueDirectory(type));
            std::erase(found, "order");
            std::ranges::sort(expected);
            EXPECT_EQ(found, expected) << queue.name();
        }
    }
    EXPECT_EQ(queue_->spaceInUse(), bytes);
    EXPECT_EQ(queue_->openCount(), openEntries);
}

MesgQTest::Log MesgQTest::takeLog() {
    switch_.pump();
    Log taken;
    for (const LogEntry& line : switch_.logEntries()) {
        EXPECT_EQ(line.number, kOrvLogId) << line.text;
        EXPECT_EQ(line.flags, kOrvOwnEntryFlags) << line.text;
        taken.emplace_back(line.level, line.text);
    }
    switch_.forgetEventLog();
    return taken;
}

MesgQTest::Texts MesgQTest::takeTrace() {
    const std::string all = switch_.root().read("/tmp/mesgq");
    const std::string text = all.substr(std::min(traced_, all.size()));
    traced_ = all.size();
    Texts taken;
    for (std::size_t start = nextPrefix(text, 0); start < text.size();) {
        const std::size_t next = nextPrefix(text, start + 1);
        std::istringstream line(text.substr(start, next - start));
        std::string date, zone, time, process, module, method;
        line >> date >> zone >> time >> process >> module >> method;
        if (module == "OrvCHMesgQ") {
            const auto words = static_cast<std::size_t>(line.tellg()) + 1;
            taken.push_back(method + " " + text.substr(start + words, next - start - words));
        }
        start = next;
    }
    return taken;
}

std::vector<std::pair<std::string, std::uint32_t>> MesgQTest::takeTestResults() {
    switch_.pump();
    std::vector<std::pair<std::string, std::uint32_t>> results;
    for (const ManagementReply& reply : switch_.takeManagementReplies()) {
        EXPECT_EQ(reply.code, ManagementCode::TEST_PROFILE_RESULTS);
        const auto result = decodeFields<TestProfileResults>(reply.payload);
        if (result) {
            results.emplace_back(result->name, result->status);
        }
    }
    return results;
}

std::string MesgQTest::wordsToBytes(const Words& words) {
    std::string bytes(words.size() * sizeof(std::uint32_t), '\0');
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}
