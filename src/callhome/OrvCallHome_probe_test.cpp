// The state dump, whole.
#include "MessageCodes.h"
#include "testing/app/DaemonFixture.h"

#include <unistd.h>

#include <regex>

namespace {

// Everything between a line's date and its module: "11/14/2023 UTC 22:13:20.123  4711 ".
std::string withoutPrefixes(const std::vector<std::string>& lines) {
    const std::regex prefix("^[0-9]{2}/[0-9]{2}/[0-9]{4} UTC [0-9:]{8}\\.[0-9]{3}  " + std::to_string(getpid()) + " ");
    std::string text;
    for (const std::string& line : lines) {
        text += std::regex_replace(line, prefix, "") + "\n";
    }
    return text;
}

class OrvCallHomeProbe : public DaemonFixture {
protected:
    std::string dump() {
        const std::size_t before = mainTrace().size();
        switch_->send(108, 0);
        const std::vector<std::string> lines = mainTrace();
        return withoutPrefixes({lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()});
    }
};

TEST_F(OrvCallHomeProbe, tracesControllerQueueProfilesCapturesClientAndIdentityInThisOrder) {
    startReady();

    const std::string text = dump();

    const std::string controller =
        "OrvCallHome probe: Entry\n"
        "OrvCallHome probe: CallHome State Information:\nReadyForMessage = 1\nSwitchOperState = Online\n"
        "NumOfProfiles = 1\nCondition = 0x3f\nConfig = 0\nConfigRequestsPending = 0\n\n"
        "OrvCHMesgQ probe: Entry\n"
        "OrvCHMesgQ probe: Call Home Message Queue Information:\n";
    EXPECT_EQ(text.substr(0, controller.size()), controller);
    const std::size_t profiles = text.find("OrvCallHome probeProfiles: Entry...\n\n");
    const std::size_t profile = text.find("Profile Information:\n");
    const std::size_t capture = text.find("OrvCHCapture probe: ");
    const std::size_t client = text.find("OrvCHClient probe:\n  SMTPGatewayEnabled = 0\n");
    const std::size_t identity = text.find("  From = switch@example.com\n");
    ASSERT_NE(profiles, std::string::npos);
    ASSERT_NE(profile, std::string::npos);
    ASSERT_NE(client, std::string::npos);
    ASSERT_NE(identity, std::string::npos);
    EXPECT_LT(profiles, profile);
    ASSERT_NE(capture, std::string::npos);
    EXPECT_LT(profile, capture);
    EXPECT_LT(capture, client);
    EXPECT_LT(client, identity);
}

// The clock of these tests starts at 22:13:20 on a Tuesday.
TEST_F(OrvCallHomeProbe, showsWhenTheCaptureOfAProfileIsDue) {
    startReady();
    const std::string key = "Global.CallhomeDB.Profile.0.Capture";
    switch_->set(key + "Enable", "True");
    switch_->set(key + "Entries", "1");
    switch_->set(key + ".0.Type", "Cron");
    switch_->set(key + ".0.DayOfWeek", "Tue");
    switch_->set(key + ".0.TimeOfDay", "22:15");
    switch_->set(key + ".0.Interval", "1");
    switch_->manage(ManagementCode::PROFILE_CHANGE);
    switch_->pump();

    EXPECT_THAT(dump(), testing::HasSubstr("      Command       = show support callhome\n"
                                           "      LastExecution = Thu, 01  Jan  1970  00:00:00  +0000\n"
                                           "      NextExecution = Tue, 14  Nov  2023  22:15:00  +0000\n"));

    switch_->set(key + "Enable", "False");
    switch_->manage(ManagementCode::PROFILE_CHANGE);
    switch_->pump();
    EXPECT_THAT(dump(), testing::HasSubstr("      NextExecution = Thu, 01  Jan  1970  00:00:00  +0000\n"));
}

TEST_F(OrvCallHomeProbe, saysSoWhenThereAreNoProfiles) {
    startDaemon();

    EXPECT_NE(dump().find("OrvCallHome probeProfiles: Entry...\n\n"
                          "OrvCallHome probeProfiles:  ------------------------------------------\n"
                          "OrvCallHome probeProfiles:  ---- there are no configured profiles ----\n"
                          "OrvCallHome probeProfiles:  ------------------------------------------\n\n"),
              std::string::npos);
}

}  // namespace
