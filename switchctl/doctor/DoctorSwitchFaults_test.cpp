// Faults of the switch, the daemon and its files: doctor knows what status knows.
#include "testing/switchctl/DoctorTest.h"

namespace {

std::function<void(DoctorTest&)> attribute(const char* text) {
    return [=](DoctorTest& a) { a.set({text}); };
}

std::function<void(DoctorTest&)> capture(const char* day, const char* time) {
    return [=](DoctorTest& a) {
        const std::string profile = "Global.CallhomeDB.Profile.0.";
        const std::string key = profile + "Capture.0.";
        a.set({profile + "CaptureEnable=True", profile + "CaptureEntries=1", key + "DayOfWeek=" + day,
               key + "TimeOfDay=" + time, key + "Interval=1"});
    };
}

const SeededFault SWITCH_FAULTS[] = {
    {"not allowed", attribute("Default.Mfg.AllowCallhome=False"), "feature-off", "factory settings",
     "Default.Mfg.AllowCallhome=True"},
    {"switched off", attribute("Global.Services.CallhomeEnable=False"), "service-off", "switched off",
     "callhome setup --enable"},
    {"no server", attribute("Global.Callhome.SMTPEnable=False"), "server-missing", "no mail server", "--smtp KIND"},
    {"no sender", attribute("Global.Callhome.FromAddr=<undefined>"), "sender-missing", "no sender",
     "callhome setup --from"},
    {"no profiles", attribute("Global.CallhomeDB.NumberOfProfiles=0"), "profiles-missing", "no profiles",
     "profile add"},
    {"no address of its own", attribute("Global.Network.Eth.0.NF-IPAddress="), "switch-address-missing",
     "no management address", "Global.Network.Eth.0.NF-IPAddress=1-ADDRESS"},
    {"a profile without addresses", attribute("Global.CallhomeDB.Profile.1.NumberOfEmails=0"),
     "profile-without-address", "the profile Night", "Profile.1.EmailList.0=ADDRESS"},
    {"a level that there is not", attribute("Global.CallhomeDB.Profile.0.Level=loud"), "profile-level", "loud",
     "Profile.0.Level=Warn"},
    {"a format that there is not", attribute("Global.CallhomeDB.Profile.0.Format=html"), "profile-format", "html",
     "Profile.0.Format=FullText"},
    {"a quota of nothing", attribute("Global.Callhome.FilesAllowed=0"), "quota-zero", "FilesAllowed is",
     "FilesAllowed=100"},
    {"a quota that is no number", attribute("Global.Callhome.FileSystemSpaceAllowed=5120000 bytes"),
     "quota-not-a-number", "5120000 bytes", "FileSystemSpaceAllowed=5120000"},
    {"settings that are not read", [](DoctorTest& a) { a.condition("0x3d"); }, "configuration-unread",
     "has not read the attributes", "profile-change"},
    {"a read that never ends",
     [](DoctorTest& a) {
         a.happened(orv_log::kBuildDetailRequest, "Global.Callhome.SMTPGatewayEnable");
         a.later(60000);
         a.reads("4");
     },
     "configuration-stuck", "will never end", "restart orvApp"},
    {"an event service that is silent", [](DoctorTest& a) { a.queueOpen("false"); }, "event-service-silent",
     "the event server has not answered", "restart orvApp"},
    {"queue settings that are not read",
     [](DoctorTest& a) {
         a.queueOpen("false");
         a.queueSettingsRead("false");
     },
     "queue-settings-unread", "could not read the queue's settings", "profile-change"},
    {"a full queue", [](DoctorTest& a) { a.waiting(100); }, "queue-full", "100 messages", "FilesAllowed=NUMBER"},
    {"a message that the queue refused",
     [](DoctorTest& a) {
         a.happened(orv_log::kBuildDetailRequest, "Global.Callhome.SMTPGatewayEnable");
         a.happened(orv_log::kNoSpace);
     },
     "messages-refused", "has refused 1 messages", "FileSystemSpaceAllowed=NUMBER"},
    {"a foreign file", [](DoctorTest& a) { a.wrote("/ostrel/conf/orv/callHome/queues/send/core"); }, "foreign-file",
     "queues/send/core", "mv "},
    {"a capture on no day", capture("Someday", "02:30"), "capture-time", "Someday", "Capture.0.DayOfWeek=Mon"},
    {"a capture at no time", capture("Mon", "25:00"), "capture-time", "25:00", "TimeOfDay=02:30"},
    {"mails too small for a capture",
     [](DoctorTest& a) {
         capture("Mon", "02:30")(a);
         a.set({"Global.CallhomeDB.Profile.0.MaxSize=1000"});
     },
     "capture-too-large", "1000 bytes", "MaxSize=2000000"},
    {"no memory", [](DoctorTest& a) { a.happened(orv_log::kNoMemory); }, "out-of-memory", "ran out of memory",
     "more memory"},
    {"no send thread", [](DoctorTest& a) { a.traced("SMTPClient", "OrvCHClient runThread: Terminating\n"); },
     "send-thread-ended", "send thread has ended", "restart orvApp"},
    {"no clock of its own",
     [](DoctorTest& a) { a.traced("Main", "OrvApp startTick: the one-second timer could not be started\n"); },
     "tick-stopped", "could not start its clock", "restart orvApp"},
    {"no daemon", [](DoctorTest& a) { a.ended(); }, "daemon-absent", "does not run", "orvApp"},
    {"a daemon that says nothing", [](DoctorTest& a) { a.silent(); }, "daemon-silent", "did not answer",
     "restart orvApp", ExitStatus::NO_ANSWER, "1"},
};

class DoctorOfTheSwitch : public SeededFaults {};

TEST_P(DoctorOfTheSwitch, namesTheFaultAndTheRemedy) {
    expectFound();
}

INSTANTIATE_TEST_SUITE_P(Seeded, DoctorOfTheSwitch, testing::ValuesIn(SWITCH_FAULTS), nameOf);

}  // namespace
