#include "testing/mesg/MesgTest.h"

#include "Hsb_Component.h"
#include "app_log.h"
#include "base/OrvText.h"
#include "catalogue/OrvEventCatalogue.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvSequenceSource.h"
#include "platform/posix/HostRoot.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;

static std::vector<EventLogCall> eventLogCalls;

// What the daemon writes itself must be in its catalogue.
static void record(EventLogCall call, const Hsb_Component* component) {
    const bool daemons = call.flags == kOrvOwnEntryFlags && component == orvApplication();
    if (daemons && !orvFindInCatalogue(call.level, call.id, call.text)) {
        ADD_FAILURE() << "not in the daemon's catalogue: " << testing::PrintToString(call);
    }
    eventLogCalls.push_back(std::move(call));
}

void app_log(int level, std::uint32_t id, int, int, int, int, std::uint32_t flags, Hsb_Component* component,
             const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    record({false, level, id, flags, orvFormatV(format, arguments)}, component);
    va_end(arguments);
}

void switch_alarm(int level, std::uint32_t id, int, int, int, int, std::uint32_t flags, Hsb_Component* component,
                  const char* text) {
    record({true, level, id, flags, text}, component);
}

void PrintTo(const EventLogCall& call, std::ostream* stream) {
    *stream << (call.alarm ? "alarm " : "entry ") << call.level << " " << call.id << " " << call.flags << " "
            << call.text;
}

const std::vector<EventLogCall> kMemoryAlarms = {
    {true, 0, 0x10050034u, 4096, "System resource error - contact technical support"},
    {true, 16, 0, 4096, "OrvApp - cannot allocate memory"}};

std::uint32_t NoSequences::nextSequence() {
    throw OrvFileError("Write Error for file /x");
}

MesgTest::MesgTest() {
    std::string directory = fs::temp_directory_path() / "orv_mesg_XXXXXX";
    root_ = mkdtemp(directory.data());
    setHostRoot(root_);
    fs::create_directories(host("/tmp"));
    fs::create_directories(host(kAttachments));
    fs::create_directories(host(kFile).substr(0, host(kFile).rfind('/')));
    useHostClock(&clock_);
    CronCaptureData::useSequences(&sequences_);
    eventLogCalls.clear();
    forgetTraces();
}

MesgTest::~MesgTest() {
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
    logger_.reset();
    CronCaptureData::useSequences(nullptr);
    useHostClock(nullptr);
    setHostRoot("");
    fs::remove_all(root_);
}

void MesgTest::writeFile(const std::string& path, const std::string& content) const {
    fs::remove(host(path));  // ext4 makes a truncated file wait for the disk
    std::ofstream(host(path), std::ios_base::binary) << content;
}

std::string MesgTest::readFile(const std::string& path) const {
    std::ifstream file(host(path), std::ios_base::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool MesgTest::exists(const std::string& path) const {
    return fs::exists(host(path));
}

std::vector<std::string> MesgTest::stagedFiles() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(host(kAttachments))) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void MesgTest::forgetTraces() {
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
    logger_.reset();
    fs::remove(host("/tmp/trace"));
    for (int generation = 1; generation <= 5; ++generation) {
        fs::remove(host("/tmp/trace." + std::to_string(generation)));
    }
    logger_ = std::make_unique<OrvDbg>("trace");
    EXPECT_EQ(OrvDbg::setOfThread(logger_.get()), 0);
}

std::vector<std::string> MesgTest::traceLines() const {
    std::string all;
    for (int generation = 5; generation >= 1; --generation) {
        all += readFile("/tmp/trace." + std::to_string(generation));
    }
    std::istringstream stream(all + readFile("/tmp/trace"));
    const std::string behindPrefix = " " + std::to_string(getpid()) + " ";
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line.substr(line.find(behindPrefix) + behindPrefix.size()));
    }
    return lines;
}

std::vector<std::string> MesgTest::traces() const {
    std::vector<std::string> texts = traceLines();
    for (std::string& text : texts) {
        text.erase(0, text.find(": ") + 2);
    }
    return texts;
}

const std::vector<EventLogCall>& MesgTest::eventLog() const {
    return eventLogCalls;
}

std::unique_ptr<OrvCHEnvelope> sampleEnvelope() {
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->MaxSize = 650;
    envelope->Type = "FullText";
    envelope->ProfileName = "Night shift";
    envelope->Subject = "Switch 12";
    envelope->Recipients = {"!ann@example.com", "bob@example.com"};
    return envelope;
}

std::unique_ptr<OrvCHMesg> sampleLogEvent() {
    auto mesg = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);
    mesg->FileName = kFile;
    mesg->DuplicateCount = 3;
    mesg->DuplicateTime = "Tue Nov 14 22:14:20 UTC 2023";
    mesg->Time = "Tue Nov 14 22:13:20.123 UTC 2023";
    mesg->ID = "0123.4567";
    mesg->Text = "100% of port 5 lost";
    LogEventData& data = *mesg->logEvent();
    data.Level = 3;
    data.Blade = "Blade: 2";
    data.ASIC = "2.5";
    data.Port = "5";
    data.VID = "77";
    data.App = "Port";
    data.Components = "fan:1.2.3";
    mesg->addEnvelope(sampleEnvelope());
    return mesg;
}

const char kSampleFile[] =
    "<OrvCHMesg>\n"
    "<DupCnt>\n3\n</->\n"
    "<DupTime>\nTue Nov 14 22:14:20 UTC 2023\n</->\n"
    "<Time>\nTue Nov 14 22:13:20.123 UTC 2023\n</->\n"
    "<ID>\n0123.4567\n</->\n"
    "<Level>\nAlarm\n</->\n"
    "<Blade>\nBlade: 2\n</->\n"
    "<ASIC>\n2.5\n</->\n"
    "<Port>\n5\n</->\n"
    "<VID>\n77\n</->\n"
    "<App>\nPort\n</->\n"
    "<Comp>\nfan:1.2.3\n</->\n"
    "<Text>\n100% of port 5 lost\n</->\n"
    "<EnvelopeList>\n"
    "<OrvCHEnvelope>\n"
    "<MaxSize>\n650\n</->\n"
    "<Type>\nFullText\n</->\n"
    "<Profile>\nNight shift\n</->\n"
    "<Subj>\nSwitch 12\n</->\n"
    "<RcptList>\n"
    "!ann@example.com\n"
    "bob@example.com\n"
    "</RcptList>\n"
    "</OrvCHEnvelope>\n"
    "</EnvelopeList>\n"
    "</OrvCHMesg>\n";
