// What preview shows is what the daemon mails: events at random, both ways.
//
// ORV_PREVIEW_EVENTS: how many, 20 without it.
#include "orv_version.h"
#include "platform/transport/dbus/DbusTransport.h"
#include "switchctl/ahead/EventPreview.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/input/EventArguments.h"
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using std::chrono::seconds;
using testing::HasSubstr;

struct PlainMail {
    std::string sender;
    std::vector<std::string> recipients;
    std::string text;  // without its first line, the date

    friend bool operator==(const PlainMail&, const PlainMail&) = default;
    friend std::ostream& operator<<(std::ostream& out, const PlainMail& mail) {
        return out << mail.sender << " to " << testing::PrintToString(mail.recipients) << "\n" << mail.text;
    }
};

std::string withoutDate(const std::string& text) {
    EXPECT_TRUE(text.starts_with("Date: ")) << text;
    return text.substr(text.find("\r\n") + 2);
}

class PreviewProgram : public SwitchProcesses {};

class PreviewEndToEnd : public SwitchProcesses {
protected:
    void SetUp() override {
        setenv("HSB_BUS", bus_.address().c_str(), 1);
        setenv("HSB_ROOT", root().c_str(), 1);
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"attr", "set", "Global.Callhome.ThrottleDupsEnable=False", "Global.Callhome.FilesAllowed=10000",
              "Global.Callhome.FileSystemSpaceAllowed=100000000", "Global.Snmp.Location=Rack 7",
              "Global.Snmp.Contact=the night shift"});
        done({"callhome", "setup", "--enable", "--from", "switch@example.com", "--smtp",
              "1-127.0.0.1:" + std::to_string(server_.port())});
        done({"profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email", "a@x", "--subject",
              "Lab"});
        done({"profile", "add", "Service", "--level", "Critical", "--format", "Tsc1", "--email", "b@x", "--email",
              "c@x"});
        done({"profile", "add", "Short", "--level", "Fault", "--format", "ShortText", "--email", "d@x", "--max-size",
              "700"});
        const auto deadline = std::chrono::steady_clock::now() + seconds(30);
        while (switchctl({"callhome", "processed"}).output.find("Short") == std::string::npos ||
               switchctl({"callhome", "probe"}).output.find("queueOpenForBusiness            = true") ==
                   std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        }
        std::istringstream lines(done({"attr", "list"}));
        attributes_ = Attributes::parseFile(lines, "attr list");
    }

    int number(int least, int most) { return std::uniform_int_distribution<int>(least, most)(chance_); }

    std::string randomText(int event) {
        // No line ends: with one behind a dot, a text would end its own mail.
        static const std::string ALPHABET = "abcdefghijklmnopqrstuvwxyz .,:;%<>-\t\"'\\/0123456789\xC2\xA7\xC3\xBC";
        std::string text = std::to_string(event) + " ";
        for (int length = number(0, 210); length > 0; --length) {
            text += ALPHABET[static_cast<std::size_t>(number(0, static_cast<int>(ALPHABET.size()) - 1))];
        }
        static const char* const ENDS[] = {"", "", " fault", " Fault detected", " failed"};
        return text.substr(0, 200) + ENDS[number(0, 4)];
    }

    LogEventArguments randomEvent(int event) {
        LogEventArguments arguments;
        Sw_Log_Type& record = arguments.record;
        record.kind = number(0, 3);
        record.number = static_cast<std::uint32_t>(number(0, INT32_MAX));
        record.slot = number(-1, 3);
        record.chip = number(-1, 2);
        record.port = number(-1, 40);
        record.componentClass = static_cast<std::uint32_t>(number(0, 12));
        record.flags = number(0, 9) == 0 ? 4096 : 0;
        record.text = randomText(event);
        arguments.location = std::to_string(number(0, 9)) + "." + std::to_string(number(0, 9));
        arguments.names = number(0, 1) == 0 ? "" : "Blade,Port";
        arguments.time = std::to_string(1700000000 + event) + "." + std::to_string(number(0, 999999));
        return arguments;
    }

    // As the command event log does.
    void publish(const LogRecord& event) {
        OperatorClient client([this](std::chrono::milliseconds) { return &transport(); });
        client.change(OperatorCode::PUBLISH_LOG, encodeFields(event));
    }

    Transport& transport() {
        if (!transport_) {
            transport_ = std::make_unique<DbusTransport>();
            EXPECT_EQ(transport_->join(), 0);
        }
        return *transport_;
    }

    std::vector<PlainMail> expect(const LogRecord& event) const {
        std::vector<PlainMail> mails;
        for (const QueueMail& mail : EventPreview::of(event, attributes_, {}, 1800000000).mails) {
            mails.push_back({mail.sender, mail.recipients, withoutDate(mail.text)});
        }
        return mails;
    }

    ScriptedMailServer server_;
    std::vector<Attribute> attributes_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
    std::unique_ptr<DbusTransport> transport_;
    std::mt19937 chance_{1};
};

TEST_F(PreviewEndToEnd, showsTheMailsThatTheDaemonSendsByteForByte) {
    const char* const asked = std::getenv("ORV_PREVIEW_EVENTS");
    const int events = asked == nullptr ? 20 : std::atoi(asked);
    std::vector<PlainMail> expected;

    for (int event = 0; event < events; ++event) {
        const LogRecord record = logRecordFrom(randomEvent(event));
        const std::vector<PlainMail> mails = expect(record);
        expected.insert(expected.end(), mails.begin(), mails.end());
        publish(record);
    }

    ASSERT_FALSE(expected.empty());
    std::vector<ScriptedMail> taken;
    server_.waitUntil([&] { return (taken = server_.mailsTaken()).size() >= expected.size(); }, seconds(60));
    ASSERT_EQ(taken.size(), expected.size());
    for (std::size_t i = 0; i < taken.size(); ++i) {
        ASSERT_EQ((PlainMail{taken[i].sender, taken[i].recipients, withoutDate(taken[i].text)}), expected[i]) << i;
    }
}

TEST_F(PreviewEndToEnd, changesNothingOnTheSwitch) {
    const auto standing = [&] { return done({"attr", "list"}) + done({"log", "--all"}) + done({"queue", "list"}); };
    const std::string before = standing();

    const std::string text = done({"preview", "event", "--type", "0", "--number", "0x10002", "a fan has stopped"});

    EXPECT_THAT(text, HasSubstr("profile Operators  gets a mail\n"));
    EXPECT_THAT(text, HasSubstr("\nText:           a fan has stopped\n"));
    EXPECT_EQ(standing(), before);
    EXPECT_EQ(server_.connections(), 0u);
}

// Nobody runs it by hand, but who has installed it asks of which version it is.
TEST_F(PreviewProgram, printsItsVersion) {
    const std::string program = std::filesystem::path(Program::SWITCHCTL).replace_filename("orvAhead");

    const ProcessOutcome result = run(program, {"--version"});

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "orvAhead " ORV_VERSION "\n");
}

}  // namespace
