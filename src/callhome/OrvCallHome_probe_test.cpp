// The state dump, whole.
#include "app/DaemonFixture.h"

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

TEST_F(OrvCallHomeProbe, saysSoWhenThereAreNoProfiles) {
    startDaemon();

    EXPECT_NE(dump().find("OrvCallHome probeProfiles: Entry...\n\n"
                          "OrvCallHome probeProfiles:  ------------------------------------------\n"
                          "OrvCallHome probeProfiles:  ---- there are no configured profiles ----\n"
                          "OrvCallHome probeProfiles:  ------------------------------------------\n\n"),
              std::string::npos);
}

}  // namespace
