#include "testing/smtp/MailFixture.h"

#include <ctime>
#include <sstream>
#include <utility>

OrvIdentity fullIdentity() {
    OrvIdentity identity;
    identity.From = "switch@example.com";
    identity.ReplyTo = "ops@example.com";
    identity.ContactName = "Ann Admin";
    identity.ContactEmail = "ann@example.com";
    identity.PhoneNumber = "+1 555 0100";
    identity.StreetAddress = "1 Fabric Way";
    identity.Location = "Lab 3, rack 7";
    identity.SymName = "sw-core-1";
    identity.IPv4Address = "10.1.2.3";
    identity.IPv6Address = "2001:db8::3";
    identity.Hostname = "sw01.example.com";
    identity.WWN = "10:00:00:05:1e:00:00:01";
    identity.SerialNum = "SN0042";
    return identity;
}

void TestIdentity::set(const OrvIdentity& identity) {
    const std::vector<DsEntry> entries{
        {"Global.Callhome.EmailAddr", 1, identity.ContactEmail},
        {"Global.Callhome.FromAddr", 1, identity.From},
        {"Global.Callhome.ReplyToAddr", 1, identity.ReplyTo},
        {"Global.Callhome.PhoneNumber", 1, identity.PhoneNumber},
        {"Global.Callhome.StreetAddr", 1, identity.StreetAddress},
        {"Global.Snmp.Contact", 1, identity.ContactName},
        {"Global.Snmp.Location", 1, identity.Location},
        {"Config.Switch.SymName", 1, identity.SymName},
        {"Global.Network.Eth.0.NF-IPAddress", 1, identity.IPv4Address},
        {"Global.Network.Eth.0.IPv6IPAddress", 1, identity.IPv6Address},
        {"Global.Network.DNSLocalHostname", 1, "3-" + identity.Hostname},
        {"Global.Network.DNSClientEnable", 1, identity.DNSClientEnable ? "True" : "False"},
        {"Global.Switch.WWN", 1, identity.WWN},
        {"Config.Mfg.ChassisSerialNum", 1, identity.SerialNum},
    };
    const std::vector<std::int32_t> statuses(entries.size(), 0);
    EXPECT_EQ(common_.processConfigBulk(entries, statuses), 0);
}

std::unique_ptr<OrvCHMesg> portEvent() {
    auto message = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);
    message->Time = "Tue Nov 14 22:13:19.123 UTC 2023";
    message->ID = "0123.4567";
    message->Text = "Port 5 went down";
    message->logEvent()->Level = 2;
    message->logEvent()->Blade = "Blade: 1";
    message->logEvent()->ASIC = "2.5";
    message->logEvent()->Port = "5";
    message->logEvent()->VID = "128";
    message->logEvent()->App = "Eport";
    message->logEvent()->Components = "chassis:1.2.3";
    return message;
}

std::unique_ptr<OrvCHMesg> captureOf(const std::vector<std::string>& attachments) {
    auto message = std::make_unique<OrvCHMesg>(OrvCHMesg::kCronCapture);
    message->Time = "Tue, 14  Nov  2023  22:13:00  +0000";
    message->ID = "8B00.FFFF";
    message->Text = "Scheduled capture";
    CronCaptureData& capture = *message->cronCapture();
    capture.Sequence = "17";
    capture.DayOfWeek = "Tue";
    capture.TimeOfDay = "22:13";
    capture.Interval = "2";
    capture.Shell = "clish";
    capture.Command = "show support callhome";
    capture.Boundary = "6553ef90-CallHome-CronCapture-6553ef90";
    capture.Attachments = attachments;
    return message;
}

std::string shortMail() {
    return std::string(kMailHead) + kMailSwitch + kMailTime + kMailDetails;
}

OrvCHEnvelope& addEnvelope(OrvCHMesg& message, const std::string& profile, const std::vector<std::string>& recipients,
                           const std::string& format, std::uint32_t maxSize) {
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->MaxSize = maxSize;
    envelope->Type = format;
    envelope->ProfileName = profile;
    envelope->Subject = "Switch event";
    envelope->Recipients = recipients;
    OrvCHEnvelope& added = *envelope;
    message.addEnvelope(std::move(envelope));
    return added;
}

MailTest::MailTest() {
    ::tzset();
    useHostClock(&clock_);
    logger_ = std::make_unique<OrvDbg>("test");
    EXPECT_EQ(OrvDbg::setOfThread(logger_.get()), 0);
}

MailTest::~MailTest() {
    EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
    useHostClock(nullptr);
}

std::vector<std::string> MailTest::takeTraces() {
    const std::string all = root_.read("/tmp/test");
    std::istringstream stream(all.substr(taken_));
    taken_ = all.size();
    std::vector<std::string> lines;
    // Date, zone, time, process id and module stand before the function's name; two blanks after the time.
    const std::string prefix = "11/14/2023 UTC 22:13:20";
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.starts_with(prefix)) {
            std::size_t begin = line.find("Orv");
            begin = line.find(' ', begin) + 1;
            line.erase(0, begin);
        }
        lines.push_back(line);
    }
    return lines;
}
