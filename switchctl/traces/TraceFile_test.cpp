#include "switchctl/traces/TraceFile.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace {

class TraceFileTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/trace-file-XXXXXX";
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
    std::string since(const TraceFile& trace) const {
        std::string text = "unchanged";
        EXPECT_EQ(trace.readSince(text), 0);
        return text;
    }
    std::string on(TraceFile& trace) {
        std::string text;
        EXPECT_EQ(trace.readOn(text, whole_), 0);
        return text;
    }

    std::string directory_;
    bool whole_ = false;
};

TEST_F(TraceFileTest, givesWhatWasWrittenSinceTheMark) {
    TraceFile trace(file());
    write("before\n");
    trace.mark();
    write("after\n");

    EXPECT_EQ(since(trace), "after\n");
}

TEST_F(TraceFileTest, givesNothingWhenNothingWasWritten) {
    TraceFile trace(file());
    write("before\n");
    trace.mark();

    EXPECT_EQ(since(trace), "");
}

TEST_F(TraceFileTest, followsTheTraceThroughItsGenerations) {
    TraceFile trace(file());
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

TEST_F(TraceFileTest, givesWhatIsLeftWhenTheMarkedGenerationIsGone) {
    TraceFile trace(file());
    write("before\n");
    trace.mark();
    for (const char* text : {"lost\n", "1\n", "2\n", "3\n", "4\n", "5\n"}) {
        write(text);
        rotate();
    }
    write("6\n");

    EXPECT_EQ(since(trace), "1\n2\n3\n4\n5\n6\n");
}

TEST_F(TraceFileTest, givesAllWhenThereWasNoTraceAtTheMark) {
    TraceFile trace(file());
    trace.mark();
    write("first\n");

    EXPECT_EQ(since(trace), "first\n");
}

TEST_F(TraceFileTest, readsOnWhereItEnded) {
    TraceFile trace(file());
    write("one\n");
    EXPECT_EQ(on(trace), "one\n");
    EXPECT_EQ(on(trace), "");
    write("two\n");
    rotate();
    write("three\n");
    EXPECT_EQ(on(trace), "two\nthree\n");
    EXPECT_TRUE(whole_);
}

TEST_F(TraceFileTest, saysThatSomethingHasGoneMeanwhile) {
    TraceFile trace(file());
    write("one\n");
    on(trace);
    for (int i = 0; i < 7; ++i) {
        rotate();
    }
    write("two\n");

    EXPECT_EQ(on(trace), "two\n");
    EXPECT_FALSE(whole_);
}

TEST_F(TraceFileTest, readsOnInAFileThatAStartHasEmptiedAndFilled) {
    TraceFile trace(file());
    write("11:00 one\n");
    on(trace);
    std::filesystem::resize_file(file(), 0);
    write("12:00 more than there was\n");

    EXPECT_EQ(on(trace), "12:00 more than there was\n");
    EXPECT_TRUE(whole_);
}

TEST_F(TraceFileTest, saysWhenThereIsNoTrace) {
    TraceFile trace(file());
    trace.mark();
    std::string text = "unchanged";

    EXPECT_EQ(trace.readSince(text), -1);
    EXPECT_EQ(text, "unchanged");
}

TEST_F(TraceFileTest, givesAllThatThereIsWithoutAMark) {
    write("one\n");
    rotate();
    write("two\n");

    EXPECT_EQ(since(TraceFile(file())), "one\ntwo\n");
}

TEST_F(TraceFileTest, givesAllOfATraceThatADaemonBeganAnewAfterTheMark) {
    write("long before\n");
    rotate();
    write("before\n");
    TraceFile trace(file());
    trace.mark();
    std::ofstream(file(), std::ios::trunc) << "new\n";

    EXPECT_EQ(since(trace), "new\n");
}

TEST_F(TraceFileTest, leavesOutOlderGenerationsWhenOnlyTheNewestWasMissingAtTheMark) {
    write("before\n");
    rotate();
    std::filesystem::remove(file());
    TraceFile trace(file());
    trace.mark();
    write("first\n");

    EXPECT_EQ(since(trace), "first\n");
}

// A file that is made when the marked one has gone may get its number.
TEST_F(TraceFileTest, isNotMistakenAboutAFileWithTheNumberOfTheMarkedOne) {
    write("before\n");
    TraceFile trace(file());
    trace.mark();
    std::filesystem::remove(file());
    for (int number = 0; number < 100; ++number) {
        std::filesystem::remove(file());
        write("a new and longer one\n");
        ASSERT_EQ(since(trace), "a new and longer one\n");
    }
}

TEST_F(TraceFileTest, readsNothingButFiles) {
    std::string text;
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    EXPECT_EQ(TraceFile(file()).readSince(text), -1);
    EXPECT_EQ(errno, EINVAL);
    std::filesystem::remove(file());

    std::ofstream(directory_ + "/elsewhere") << "secret\n";
    ASSERT_EQ(symlink((directory_ + "/elsewhere").c_str(), file().c_str()), 0);
    EXPECT_EQ(TraceFile(file()).readSince(text), -1);
    EXPECT_EQ(text, "");
}

// Every line once and in order, whenever the files are moved.
TEST_F(TraceFileTest, losesAndDoublesNothingWhileTheGenerationsMove) {
    for (int round = 0; round < 20; ++round) {
        TraceFile trace(file());
        write("before\n");
        trace.mark();
        std::atomic<bool> writing{true};
        std::thread daemon([&] {
            for (int line = 0; line < 4; ++line) {
                write(std::to_string(line) + "\n");
                rotate();
            }
            writing = false;
        });
        std::string text;
        while (writing) {
            text.clear();
            const int result = trace.readSince(text);
            EXPECT_TRUE(result < 0 || std::string("0\n1\n2\n3\n").starts_with(text)) << text;
        }
        daemon.join();
        EXPECT_EQ(since(trace), "0\n1\n2\n3\n");
    }
}

}  // namespace
