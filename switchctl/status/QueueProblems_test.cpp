// What status finds wrong with the queue, the flash, the captures and the clock.
#include "testing/TempRoot.h"
#include "testing/switchctl/HealthyFacts.h"

namespace {

using Trouble = LogDigest::Trouble;

std::function<void(StatusFacts&)> sign(Trouble trouble, const char* text, std::int64_t age = 60) {
    return [=](StatusFacts& facts) {
        facts.log.signs.push_back({trouble, NOW - age * SECOND});
        facts.log.lastText[trouble] = text;
    };
}

void capture(StatusFacts& facts, const char* time = "02:30") {
    for (const auto& [key, value] : std::map<std::string, std::string>{{"CaptureEnable", "True"},
                                                                       {"CaptureEntries", "1"},
                                                                       {"Capture.0.DayOfWeek", "Mon"},
                                                                       {"Capture.0.TimeOfDay", time},
                                                                       {"Capture.0.Interval", "1"}}) {
        facts.profiles[0].fields[key] = Attribute{key, 1, value};
    }
}

std::function<void(StatusFacts&)> running(std::int64_t seconds) {
    return [=](StatusFacts& facts) {
        facts.probe->captures = 1;
        facts.traces.captureBegun = NOW - seconds * SECOND;
        facts.traces.system.child = 4711;
    };
}

const ProblemCase QUEUE[] = {
    {"a quota of nothing",
     [](StatusFacts& facts) {
         facts.attributes["Global.Callhome.FilesAllowed"] = "0";
         facts.probe->filesAllowed = 0;
     },
     {"blocked quota-zero"},
     "Global.Callhome.FilesAllowed is \"0\"",
     "switchctl attr set Global.Callhome.FilesAllowed=100 && switchctl callhome profile-change"},
    {"a quota that is a word",
     [](StatusFacts& facts) {
         facts.attributes["Global.Callhome.FileSystemSpaceAllowed"] = "much";
         facts.probe->spaceAllowed = 0;
     },
     {"blocked quota-zero"},
     "is \"much\""},
    {"a quota that was mended and not read",
     [](StatusFacts& facts) { facts.probe->filesAllowed = 0; },
     {"blocked quota-zero"},
     "is \"0\""},
    {"a quota that begins with a number",
     [](StatusFacts& facts) {
         facts.attributes["Global.Callhome.FilesAllowed"] = "50 or so";
         facts.probe->filesAllowed = 50;
     },
     {"failing quota-not-a-number"},
     "50 or so"},
    {"a queue full of messages",
     [](StatusFacts& facts) {
         facts.queue->waiting = 100;
         facts.queue->open = 1;
     },
     {"failing queue-full"},
     "100 messages"},
    {"a queue full of bytes",
     [](StatusFacts& facts) { facts.queue->bytesInUse = 5120000; },
     {"failing queue-full"},
     "5120000 bytes"},
    {"a message that the queue refused",
     sign(Trouble::MESSAGE_REFUSED, "Message is too large"),
     {"failing messages-refused"},
     "Message is too large",
     "FileSystemSpaceAllowed=NUMBER"},
    {"a message too many",
     [](StatusFacts& facts) {
         sign(Trouble::MESSAGE_REFUSED, "Message is too large", 90)(facts);
         sign(Trouble::MESSAGE_REFUSED, "Too many")(facts);
         sign(Trouble::FILE_LIMIT_REACHED, "Too many")(facts);
     },
     {"failing messages-refused"},
     "Too many",
     "FilesAllowed=NUMBER"},
    {"a message that is too large, after one too many",
     [](StatusFacts& facts) {
         sign(Trouble::MESSAGE_REFUSED, "Too many", 90)(facts);
         sign(Trouble::FILE_LIMIT_REACHED, "Too many", 90)(facts);
         sign(Trouble::MESSAGE_REFUSED, "Message is too large")(facts);
     },
     {"failing messages-refused"},
     "Message is too large",
     "FileSystemSpaceAllowed=NUMBER"},
    {"one that it refused before it was given more room",
     [](StatusFacts& facts) {
         sign(Trouble::MESSAGE_REFUSED, "Message is too large")(facts);
         facts.log.settingsRead = NOW - 5 * SECOND;
     },
     {}},
    {"messages that nobody tries to send",
     [](StatusFacts& facts) {
         facts.queue->waiting = 2;
         facts.flash.oldestWaiting = NOW - 600 * SECOND;
     },
     {"blocked mails-stuck"},
     "2 messages wait, the oldest for 10 min"},
    {"messages that a start has just found",
     [](StatusFacts& facts) {
         facts.queue->waiting = 2;
         facts.flash.oldestWaiting = NOW - 600 * SECOND;
         facts.traces.started = facts.traces.system.started = NOW - 2 * SECOND;
     },
     {}},
    {"a message that came just now",
     [](StatusFacts& facts) {
         facts.queue->waiting = 1;
         facts.flash.oldestWaiting = NOW - 1 * SECOND;
     },
     {}},
};

const ProblemCase FLASH[] = {
    {"a full flash",
     [](StatusFacts& facts) { facts.flash.free = 4096; },
     {"failing flash-full"},
     "4096 bytes",
     "/flash"},
    {"a flash that can only be read",
     [](StatusFacts& facts) { facts.flash.readOnly = true; },
     {"failing flash-read-only"},
     "/flash",
     "mount -o remount,rw /flash"},
    {"a message that could not be saved",
     [](StatusFacts& facts) {
         sign(Trouble::FILE_UNWRITTEN, "Unable to open file /q/m0 for writing")(facts);
         facts.traces.fileError = "No space left on device";
     },
     {"failing flash-fails"},
     "Unable to open file /q/m0 for writing (No space left on device)"},
    {"a file that is none of the queue's",
     [](StatusFacts& facts) { facts.flash.foreign = {"/flash/queues/send/README"}; },
     {"failing foreign-file"},
     "README",
     "mv /flash/queues/send/README /var/tmp/"},
};

const ProblemCase CAPTURES[] = {
    {"no support command, and no capture that needs it",
     [](StatusFacts& facts) { facts.flash.supportCommand = false; },
     {}},
    {"no support command",
     [](StatusFacts& facts) {
         capture(facts);
         facts.flash.supportCommand = false;
     },
     {"failing support-command-missing"},
     "/ostrel/bin/clish"},
    {"no gzip",
     [](StatusFacts& facts) {
         capture(facts);
         facts.flash.compressor = false;
     },
     {"failing gzip-missing"}},
    {"a capture at a time that there is not",
     [](StatusFacts& facts) { capture(facts, "25:00"); },
     {"failing capture-time"},
     "Mon,25:00,1",
     "Profile.0.Capture.0.TimeOfDay=02:30"},
    {"a capture that does not fit its mail",
     [](StatusFacts& facts) {
         capture(facts);
         facts.profiles[0].fields["MaxSize"].value = "1000";
     },
     {"failing capture-too-large"},
     "1000 bytes"},
    {"a capture that failed",
     sign(Trouble::CAPTURE_FAILED, "CronCapture failed: Cannot allocate memory!"),
     {"failing capture-failed"},
     "Cannot allocate memory"},
    {"a capture that failed before one went well",
     [](StatusFacts& facts) {
         sign(Trouble::CAPTURE_FAILED, "CronCapture failed: x!")(facts);
         facts.traces.captureDone = NOW - 5 * SECOND;
     },
     {}},
    {"a capture that runs", running(40), {"notice capture-running"}, "for 40 s"},
    {"a capture that runs for hours", running(7200), {"failing capture-long"}, "for 2 h", "kill -- -4711"},
};

const ProblemCase CLOCK[] = {
    {"a clock that was never set",
     [](StatusFacts& facts) { facts.now = 5 * SECOND; },
     {"failing clock-unset"},
     "1970-01-01"},
    {"a clock that was moved on",
     [](StatusFacts& facts) { *facts.traces.system.started += 86400 * 3 * SECOND; },
     {"failing clock-jumped"},
     "3 days"},
    {"a daemon that waited for the bus before it started",
     [](StatusFacts& facts) { *facts.traces.system.started -= 600 * SECOND; },
     {}},
    {"a clock that was put back",
     [](StatusFacts& facts) { facts.log.latest = NOW + 7200 * SECOND; },
     {"failing clock-behind"},
     "2 h behind"},
    {"a daemon in another zone",
     [](StatusFacts& facts) { facts.traces.zone = "CET"; },
     {"notice zone-differs"},
     "CET",
     "TZ=CET"},
};

TEST(QueueProblems, areFoundInItsQuotasAndInWhatItRefused) {
    for (const ProblemCase& one : QUEUE) {
        expectFound(one);
    }
}

TEST(FlashProblems, areFoundInTheFilesAndInWhatTheDaemonSaidOfThem) {
    for (const ProblemCase& one : FLASH) {
        expectFound(one);
    }
}

TEST(FlashProblems, nameEachFileThatCannotBeRestoredOnceAndAsLongAsItIsThere) {
    const TempRoot root;
    root.write("/q/m7", "torn");
    const auto lost = [](StatusFacts& facts) {
        const std::int64_t later = std::int64_t{4000000000} * SECOND;
        facts.log.lostFiles = {{"/q/m7", later}, {"/q/m8", later}, {"README", later}};
    };
    expectFound({"one that is there", lost, {"failing entry-unrestored"}, "never mailed: /q/m7", "/q/m7 /var/tmp/"});

    // A new message has taken its number since.
    expectFound({"one that is another by now", [](StatusFacts& facts) { facts.log.lostFiles = {{"/q/m7", 0}}; }, {}});
}

TEST(CaptureProblems, areFoundInTheProfilesAndInHowLongOneRuns) {
    for (const ProblemCase& one : CAPTURES) {
        expectFound(one);
    }
}

TEST(ClockProblems, areFoundByHoldingTheClockAgainstWhatWasSeenBefore) {
    for (const ProblemCase& one : CLOCK) {
        expectFound(one);
    }
}

TEST(FlashFacts, tellsFilesOfTheQueueFromOthers) {
    const TempRoot root;
    const std::string queues = "/ostrel/conf/orv/callHome/queues/";
    for (const char* name : {"send/m0", "send/m12", "send/order", "send/order.new", "duplicate/m1", "persist/m0"}) {
        root.write(queues + name, "x");
    }
    EXPECT_TRUE(FlashFacts::read().foreign.empty());
    EXPECT_TRUE(FlashFacts::read().oldestWaiting.has_value());

    root.write(queues + "persist/mx", "x");
    root.write(queues + "send/core", "x");

    EXPECT_EQ(FlashFacts::read().foreign,
              (std::vector<std::string>{root.at(queues + "persist/mx"), root.at(queues + "send/core")}));
}

TEST(FlashFacts, knowWhetherTheSupportCommandCanBeRun) {
    const TempRoot root;
    EXPECT_FALSE(FlashFacts::read().supportCommand);
    EXPECT_FALSE(FlashFacts::read().oldestWaiting.has_value());
}

}  // namespace
