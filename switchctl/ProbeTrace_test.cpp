#include "switchctl/ProbeTrace.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

class ProbeTraceTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/probe-trace-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

    std::string file(int generation = 0) const {
        return directory_ + "/orv.out.Main" + (generation == 0 ? "" : "." + std::to_string(generation));
    }
    void write(const std::string& text) const { std::ofstream(file(), std::ios::app) << text; }
    // As the logger does it.
    void rotate() const {
        for (int generation = 4; generation >= 0; --generation) {
            std::rename(file(generation).c_str(), file(generation + 1).c_str());
        }
        write("");
    }
    std::string since(const ProbeTrace& trace) const {
        std::string text = "unchanged";
        EXPECT_EQ(trace.readSince(text), 0);
        return text;
    }

    std::string directory_;
};

TEST_F(ProbeTraceTest, givesWhatWasWrittenSinceTheMark) {
    ProbeTrace trace(file());
    write("before\n");
    trace.mark();
    write("after\n");

    EXPECT_EQ(since(trace), "after\n");
}

TEST_F(ProbeTraceTest, givesNothingWhenNothingWasWritten) {
    ProbeTrace trace(file());
    write("before\n");
    trace.mark();

    EXPECT_EQ(since(trace), "");
}

TEST_F(ProbeTraceTest, followsTheTraceThroughItsGenerations) {
    ProbeTrace trace(file());
    write("before\n");
    rotate();
    write("before too\n");
    trace.mark();
    write("one\n");
    rotate();
    write("two\n");
    rotate();
    write("three\n");

    EXPECT_EQ(since(trace), "one\ntwo\nthree\n");
}

TEST_F(ProbeTraceTest, givesWhatIsLeftWhenTheMarkedGenerationIsGone) {
    ProbeTrace trace(file());
    write("before\n");
    trace.mark();
    for (const char* text : {"lost\n", "1\n", "2\n", "3\n", "4\n", "5\n"}) {
        write(text);
        rotate();
    }
    write("6\n");

    EXPECT_EQ(since(trace), "1\n2\n3\n4\n5\n6\n");
}

TEST_F(ProbeTraceTest, givesAllWhenThereWasNoTraceAtTheMark) {
    ProbeTrace trace(file());
    trace.mark();
    write("first\n");

    EXPECT_EQ(since(trace), "first\n");
}

TEST_F(ProbeTraceTest, saysWhenThereIsNoTrace) {
    ProbeTrace trace(file());
    trace.mark();
    std::string text = "unchanged";

    EXPECT_EQ(trace.readSince(text), -1);
    EXPECT_EQ(text, "unchanged");
}

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
    EXPECT_EQ(ProbeTrace::probeIn("x OrvCallHome probe: Entry\n" + std::string(BEFORE)), std::nullopt);
}

TEST(ProbeInTrace, hasValuesByTheirFirstNames) {
    const auto values = ProbeTrace::valuesIn(PROBE);

    EXPECT_EQ(values.at("ReadyForMessage"), "1");
    EXPECT_EQ(values.at("Config"), "0");
    EXPECT_EQ(values.at("Name"), "a = b");
    EXPECT_EQ(values.at("ReplyTo"), "<undefined>");
    EXPECT_FALSE(values.contains("Profile Information:"));
}

}  // namespace
