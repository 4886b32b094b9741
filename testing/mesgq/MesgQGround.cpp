#include "testing/mesgq/MesgQGround.h"

#include "Log_Event.h"
#include "MessageCodes.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "platform/wire/ManagementWire.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <sstream>
#include <stdexcept>

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

MesgQGround::MesgQGround() {
    setenv("TZ", "UTC", 1);
    tzset();
    openEventLog();
    EXPECT_EQ(OrvDbg::setOfThread(&logger_), 0);
    component_.insert();
    setOrvApplication(&component_);
    responses_.setReady(&component_, ServiceAddress::MANAGEMENT);
    switch_.pump();
}

MesgQGround::~MesgQGround() {
    setOrvApplication(nullptr);
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
}

std::unique_ptr<OrvCHMesg> MesgQGround::message(const std::string& text) {
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

std::uint32_t MesgQGround::charge(const std::string& text) {
    return static_cast<std::uint32_t>(message(text)->bytesToSave()) + 164;
}

std::string MesgQGround::messageFile(const std::string& text, int duplicates, const std::string& duplicateTime) {
    return "<OrvCHMesg>\n<DupCnt>\n" + std::to_string(duplicates) + "\n</->\n<DupTime>\n" + duplicateTime +
           "\n</->\n<Time>\n" + kNow + "\n</->\n<ID>\n0042.0001\n</->\n<Level>\nCritical\n</->\n<App>\nZoning\n</->\n" +
           "<Text>\n" + text + "\n</->\n<EnvelopeList>\n<OrvCHEnvelope>\n<MaxSize>\n650\n</->\n<Type>\nFullText\n" +
           "</->\n<Profile>\nProfile\n</->\n<Subj>\nSubject\n</->\n<RcptList>\nsomebody@example.org\n</RcptList>\n" +
           "</OrvCHEnvelope>\n</EnvelopeList>\n</OrvCHMesg>\n";
}

std::string MesgQGround::stateBlock(unsigned duplicatesPending, unsigned marked, const std::string& persist,
                                    unsigned period, int expire) {
    return "<OrvCHMesgQ>\nduplicatesPending = " + std::to_string(duplicatesPending) + "\npersist = " + persist +
           "\npersistRepostPeriod = " + std::to_string(period) + "\nmarkedForDeletion = " + std::to_string(marked) +
           "\nexpire = " + std::to_string(expire) + "\n</OrvCHMesgQ>\n";
}

int MesgQGround::addTest(const std::string& text, const std::string& profile) {
    auto test = message(text);
    test->TestProfile = profile;
    return post(std::move(test), {.testMsg = true});
}

int MesgQGround::addPersistent(const std::string& text, std::uint32_t period, std::int32_t expire) {
    return post(message(text), {.persist = true, .persistRepostPeriod = period, .expire = expire});
}

MesgQGround::Texts MesgQGround::texts(ORV_CH_MESG_Q_TYPE type) const {
    Texts found;
    for (const OrvCHMesgQEntry& each : list(type)) {
        found.push_back(each.message->Text);
    }
    return found;
}

MesgQGround::Ids MesgQGround::ids(ORV_CH_MESG_Q_TYPE type) const {
    Ids found;
    for (const OrvCHMesgQEntry& each : list(type)) {
        found.push_back(each.uniqueId);
    }
    return found;
}

OrvCHMesgQEntry& MesgQGround::entry(ORV_CH_MESG_Q_TYPE type, std::size_t position) const {
    for (OrvCHMesgQEntry& each : list(type)) {
        if (position-- == 0) {
            return each;
        }
    }
    throw std::out_of_range("no such entry");
}

void MesgQGround::checkConsistency(bool checkFiles) {
    std::uint32_t bytes = 0;
    std::uint32_t openEntries = 0;
    for (const auto type : {ORV_CH_MESG_Q_INIT, ORV_CH_MESG_Q_SEND, ORV_CH_MESG_Q_DUPLICATE, ORV_CH_MESG_Q_PERSIST}) {
        const OrvCHMesgQQueue& queue = list(type);
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
        if (checkFiles && queue.hasFiles() && isOpenForBusiness()) {
            Texts found = files(orvQueueDirectory(type));
            std::erase(found, "order");
            std::ranges::sort(expected);
            EXPECT_EQ(found, expected) << queue.name();
        }
    }
    EXPECT_EQ(spaceInUse(), bytes);
    EXPECT_EQ(statistics().openCount, openEntries);
}

MesgQGround::Log MesgQGround::takeLog() {
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

MesgQGround::Texts MesgQGround::takeTrace() {
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

std::vector<std::pair<std::string, std::uint32_t>> MesgQGround::takeTestResults() {
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

std::string MesgQGround::wordsToBytes(const Words& words) {
    std::string bytes(words.size() * sizeof(std::uint32_t), '\0');
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

MesgQGround::Texts MesgQGround::traceOf(const std::string& method) {
    Texts found = takeTrace();
    std::erase_if(found, [&method](const std::string& line) { return !line.starts_with(method + ": "); });
    return found;
}

std::string MesgQGround::fillTable(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& fill) {
    const char* const kLabels[] = {"    init       ", "    send       ", "    duplicate  ", "    persist    "};
    std::string text = "  Queue             Count  Space Used\n";
    std::pair<std::uint32_t, std::uint32_t> total;
    const auto row = [&text](const char* label, const std::pair<std::uint32_t, std::uint32_t>& cells) {
        char line[64];
        std::snprintf(line, sizeof line, "%s%10u  %10u\n", label, cells.first, cells.second);
        text += line;
    };
    for (std::size_t i = 0; i < fill.size(); ++i) {
        row(kLabels[i], fill[i]);
        total.first += fill[i].first;
        total.second += fill[i].second;
    }
    row("  Total        ", total);
    return text;
}
