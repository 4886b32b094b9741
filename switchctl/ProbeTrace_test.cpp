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

TEST(ProbeTraceFromProbe, beginsWithTheLineOfTheProbesEntry) {
    const std::string probe =
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry\n"
        "11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: CallHome State Information:\n";

    EXPECT_EQ(ProbeTrace::fromProbe("11/14/2023 UTC 22:13:20.122  17 OrvApp x: y\n" + probe), probe);
    EXPECT_EQ(ProbeTrace::fromProbe(probe), probe);
    EXPECT_EQ(ProbeTrace::fromProbe("something else\n"), "something else\n");
}

}  // namespace
