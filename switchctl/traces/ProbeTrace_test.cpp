#include "switchctl/traces/ProbeTrace.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char* BEFORE = "11/14/2023 UTC 22:13:20.122  17 OrvApp x: y\n";
constexpr const char* PROBE =
    "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry\n"
    "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: CallHome State Information:\n"
    "ReadyForMessage = 1\n"
    "Config = 0\n"
    "\n"
    "11/14/2023 UTC 22:13:20.124  17 OrvCHProfile dumpProfileInfo: \n"
    "Profile Information:\n"
    "  Config            = 3\n"
    "  Name              = a = b\n"
    "11/14/2023 UTC 22:13:20.124  17 OrvCHMesgCommon probe:   From = sw@example.com\n"
    "  ReplyTo = <undefined>\n";
constexpr const char* AFTER = "11/14/2023 UTC 22:13:21.000  17 OrvCHMesgQ oneSecondChores: z\n";

TEST(ProbeInTrace, goesFromItsEntryToTheEndOfItsLastRecord) {
    const std::string probe = PROBE;
    for (const std::string& text : {probe, BEFORE + probe, probe + AFTER, BEFORE + probe + AFTER,
                                    BEFORE + probe + AFTER + probe, "  ReplyTo = cut off\n" + probe + AFTER}) {
        EXPECT_EQ(ProbeTrace::probeIn(text), probe) << text;
    }
}

TEST(ProbeInTrace, isNotThereUntilItsLastRecordIs) {
    const std::string probe = PROBE;
    EXPECT_EQ(ProbeTrace::probeIn(""), std::nullopt);
    EXPECT_EQ(ProbeTrace::probeIn(BEFORE), std::nullopt);
    EXPECT_EQ(ProbeTrace::probeIn(probe.substr(0, probe.find("OrvCHMesgCommon"))), std::nullopt);
    EXPECT_EQ(ProbeTrace::probeIn(probe.substr(probe.find("11/14/2023 UTC 22:13:20.124"))), std::nullopt);
}

TEST(ProbeInTrace, isNotMistakenForATextInARecord) {
    const std::string quoted = "11/14/2023 UTC 22:13:20.122  17 OrvApp x: value = a OrvCallHome probe: Entry\n";
    EXPECT_EQ(ProbeTrace::probeIn(quoted + quoted + AFTER), std::nullopt);
    EXPECT_EQ(ProbeTrace::probeIn(quoted + PROBE + AFTER), PROBE);
    EXPECT_EQ(ProbeTrace::probeIn("x OrvCallHome probe: Entry\n" + std::string(BEFORE)), std::nullopt);
}

TEST(ProbeInTrace, beginsAlsoBehindARecordThatDoesNotEndItsLine) {
    const std::string open = "11/14/2023 UTC 22:13:20.122  17 OrvCHMesgQ add: unable to make room\nspaceInUse = 5";
    EXPECT_EQ(ProbeTrace::probeIn(open + PROBE + AFTER), PROBE);
}

TEST(ProbeInTrace, isOfOneProcess) {
    const std::string probe = PROBE;
    const std::string cut = probe.substr(0, probe.find("11/14/2023 UTC 22:13:20.124"));
    std::string other = probe;
    for (std::size_t place = other.find("  17 "); place != std::string::npos; place = other.find("  17 ", place)) {
        other.replace(place, 5, "  18 ");
    }
    EXPECT_EQ(ProbeTrace::probeIn(cut + other.substr(cut.size())), std::nullopt);
    EXPECT_EQ(ProbeTrace::processOf(other), 18);
}

TEST(ProbeInTrace, hasValuesInTheRecordOfATitle) {
    const auto values = ProbeTrace::valuesIn(PROBE, DaemonWords::STATE);

    EXPECT_EQ(values.at("ReadyForMessage"), "1");
    EXPECT_EQ(values.at("Config"), "0");
    EXPECT_FALSE(values.contains("Name"));
    EXPECT_EQ(ProbeTrace::valuesIn(PROBE, {"OrvCHProfile", "dumpProfileInfo", "\nProfile Information:"}).at("Name"),
              "a = b");
    EXPECT_TRUE(ProbeTrace::valuesIn(PROBE, DaemonWords::QUEUE).empty());
    EXPECT_TRUE(ProbeTrace::valuesIn("", DaemonWords::STATE).empty());
}

// The state of the switch is a text of anybody's.
TEST(ProbeInTrace, hasNumbersThatNoTextAboveThemTakesTheirPlaceOf) {
    const std::string head = "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: ";
    const std::string probe = head +
                              "CallHome State Information:\nSwitchOperState = Online\nCondition = 0x3f\n"
                              "  messages send OK = 9\nCondition = 0x1\n";
    EXPECT_EQ(ProbeTrace::valuesIn(probe, DaemonWords::STATE).at("Condition"), "0x1");
    EXPECT_TRUE(ProbeTrace::valuesIn(probe, DaemonWords::STATISTICS).empty());
}

}  // namespace
