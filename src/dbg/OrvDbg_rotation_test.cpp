#include "dbg/OrvDbg.h"

#include "Descriptor.h"
#include "testing/FailingCalls.h"
#include "testing/dbg/TraceFixture.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kLimit = 20224;

class OrvDbgRotation : public TraceFixture {
protected:
    // A line of so many bytes in all, its prefix and line feed included.
    static std::string lineOf(std::size_t bytes, char filler = 'x') {
        const std::string start = prefix("A", "b");
        return start + std::string(bytes - start.size() - 1, filler) + "\n";
    }
    static long traceLine(OrvDbg& logger, const std::string& line) {
        return trace(logger, "A", "b", "%s", line.substr(prefix("A", "b").size()).c_str());
    }
    static std::string farewell() {
        return prefix("OrvDbg", "Rotate") +
               "Rotation of logs for orvApp failed!\nShutting down logging for orvApp!\nGoodbye!";
    }
};

TEST_F(OrvDbgRotation, leavesAFileAtTheLimitAlone) {
    OrvDbg logger("t");

    EXPECT_EQ(traceLine(logger, lineOf(kLimit)), static_cast<long>(kLimit));

    EXPECT_EQ(file("t"), lineOf(kLimit));
    EXPECT_FALSE(exists("t.1"));
}

TEST_F(OrvDbgRotation, keepsTheLineThatCrossesTheLimitInTheOldFile) {
    OrvDbg logger("t");
    traceLine(logger, lineOf(kLimit - 100));

    const long reached = traceLine(logger, lineOf(101, 'y'));

    EXPECT_EQ(reached, static_cast<long>(kLimit + 1));
    EXPECT_EQ(file("t.1"), lineOf(kLimit - 100) + lineOf(101, 'y'));
    EXPECT_EQ(file("t"), "");
}

TEST_F(OrvDbgRotation, countsAfreshInTheNewFile) {
    OrvDbg logger("t");
    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(traceLine(logger, lineOf(200)), 200);
    EXPECT_EQ(traceLine(logger, lineOf(kLimit - 200)), static_cast<long>(kLimit));
    EXPECT_FALSE(exists("t.2"));
    EXPECT_EQ(traceLine(logger, lineOf(60)), static_cast<long>(kLimit + 60));
    EXPECT_TRUE(exists("t.2"));
}

TEST_F(OrvDbgRotation, succeedsWithoutOlderGenerations) {
    OrvDbg logger("t");

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(traceLine(logger, lineOf(100)), 100);
    EXPECT_TRUE(exists("t.1"));
    for (const char* older : {"t.2", "t.3", "t.4", "t.5"}) {
        EXPECT_FALSE(exists(older)) << older;
    }
}

TEST_F(OrvDbgRotation, succeedsWhenItsOwnFileHasGone) {
    OrvDbg logger("t");
    std::filesystem::remove(onHost("/tmp/t"));

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(traceLine(logger, lineOf(100)), 100);
    EXPECT_EQ(file("t"), lineOf(100));
    EXPECT_FALSE(exists("t.1"));
}

TEST_F(OrvDbgRotation, keepsFiveGenerationsAndOverwritesTheOldest) {
    OrvDbg logger("t");
    for (const char filler : {'a', 'b', 'c', 'd', 'e'}) {
        traceLine(logger, lineOf(kLimit + 1, filler));
    }
    EXPECT_EQ(file("t.5"), lineOf(kLimit + 1, 'a'));

    traceLine(logger, lineOf(kLimit + 1, 'f'));
    traceLine(logger, lineOf(100, 'g'));

    EXPECT_EQ(file("t"), lineOf(100, 'g'));
    EXPECT_EQ(file("t.1"), lineOf(kLimit + 1, 'f'));
    EXPECT_EQ(file("t.2"), lineOf(kLimit + 1, 'e'));
    EXPECT_EQ(file("t.3"), lineOf(kLimit + 1, 'd'));
    EXPECT_EQ(file("t.4"), lineOf(kLimit + 1, 'c'));
    EXPECT_EQ(file("t.5"), lineOf(kLimit + 1, 'b'));
    EXPECT_FALSE(exists("t.6"));
}

TEST_F(OrvDbgRotation, rotatesAfterALineInPartsToo) {
    OrvDbg logger("t");

    logger.traceParts("A", "b", {"{", std::string(kLimit, 'p'), "}\n"});

    EXPECT_EQ(file("t.1"), prefix("A", "b") + "{" + std::string(kLimit, 'p') + "}\n");
    EXPECT_EQ(file("t"), "");
}

TEST_F(OrvDbgRotation, rotatesBetweenLinesThatAreWrittenTogether) {
    const std::string line(500, 'l');
    const std::vector<std::string_view> texts(90, line);
    OrvDbg together("together");
    OrvDbg single("single");

    together.traceLines("A", "b", "{", texts, "}\n");
    for (const std::string_view text : texts) {
        single.traceParts("A", "b", {"{", text, "}\n"});
    }

    EXPECT_NE(file("together.2"), "");
    for (const char* const generation : {"", ".1", ".2"}) {
        EXPECT_EQ(file(std::string("together") + generation), file(std::string("single") + generation));
    }
    EXPECT_FALSE(exists("together.3"));
}

TEST_F(OrvDbgRotation, leavesOutTheLinesBehindARotationThatFails) {
    OrvDbg logger("t");
    const std::string big(kLimit, 'l');
    const std::string_view texts[] = {"first", big, "lost"};
    const FailingCall renaming("rename", "", EIO);

    logger.traceLines("A", "b", "{", texts, "}\n");

    EXPECT_EQ(file("t"), prefix("A", "b") + "{first}\n" + prefix("A", "b") + "{" + big + "}\n" + farewell());
}

TEST_F(OrvDbgRotation, renamesFromTheOldestToTheYoungest) {
    OrvDbg logger("t");
    std::vector<std::string> renames;
    for (const char* name : {"t.1", "t.2", "t.3", "t.4"}) {
        fill(onHost("/tmp") / name, "");
    }
    // What is there by then shows where the ones before have gone.
    const OnCall renaming("rename", "", [&](const CallFaults::Made& made) {
        std::string there = std::filesystem::path(made.name).filename().string() + ":";
        for (const char* name : {"t", "t.1", "t.2", "t.3", "t.4", "t.5"}) {
            there += exists(name) ? std::string(" ") + name : "";
        }
        renames.push_back(there);
        return 0;
    });

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(renames,
              (std::vector<std::string>{"t.4: t t.1 t.2 t.3 t.4", "t.3: t t.1 t.2 t.3 t.5", "t.2: t t.1 t.2 t.4 t.5",
                                        "t.1: t t.1 t.3 t.4 t.5", "t: t t.2 t.3 t.4 t.5"}));
}

// The number of the next descriptor to be opened.
int nextDescriptor() {
    return Descriptor(dup(0)).get();
}

TEST_F(OrvDbgRotation, closesTheOldFile) {
    const int logFile = nextDescriptor();
    OrvDbg logger("t");
    const int next = nextDescriptor();
    ASSERT_NE(next, logFile);

    for (int rotation = 1; rotation <= 3; ++rotation) {
        traceLine(logger, lineOf(kLimit + 1));
        EXPECT_EQ(nextDescriptor(), next) << rotation;
    }
    const FailingCall renaming("rename", "", EIO);
    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(nextDescriptor(), logFile);  // after the farewell
}

class OrvDbgRotationFailure : public OrvDbgRotation, public testing::WithParamInterface<int> {};

// After the failing rename the older generations have moved on and the younger ones have not.
TEST_P(OrvDbgRotationFailure, saysFarewellAndIsSilentForGood) {
    OrvDbg logger("t");
    OrvDbg other("other");
    for (const char filler : {'a', 'b', 'c', 'd', 'e'}) {
        traceLine(logger, lineOf(kLimit + 1, filler));
    }
    const auto nth = static_cast<unsigned>(GetParam());
    const FailingCall renaming("rename", "", EACCES, nth - 1, 1);

    const long reached = traceLine(logger, lineOf(kLimit + 7, 'f'));

    EXPECT_EQ(reached, static_cast<long>(kLimit + 7));
    EXPECT_EQ(renaming.calls(), nth);
    EXPECT_EQ(file("t"), lineOf(kLimit + 7, 'f') + farewell());
    const std::vector<std::string> youngestFirst{"t.1", "t.2", "t.3", "t.4", "t.5"};
    for (int generation = 1; generation <= 5; ++generation) {
        const bool moved = generation > 6 - GetParam();
        const bool hole = generation == 6 - GetParam() && GetParam() > 1;
        const std::string& name = youngestFirst[static_cast<std::size_t>(generation - 1)];
        EXPECT_EQ(exists(name), !hole || generation == 5) << name;
        if (!hole) {
            const char filler = static_cast<char>('f' - generation + (moved ? 1 : 0));
            EXPECT_EQ(file(name), lineOf(kLimit + 1, filler)) << name;
        }
    }
    EXPECT_EQ(traceLine(logger, lineOf(100)), -1);
    EXPECT_EQ(file("t"), lineOf(kLimit + 7, 'f') + farewell());
    EXPECT_EQ(traceLine(other, lineOf(100)), 100);
}

INSTANTIATE_TEST_SUITE_P(AtRename, OrvDbgRotationFailure, testing::Range(1, 6));

TEST_F(OrvDbgRotation, failsOnADirectoryInPlaceOfTheOldest) {
    std::filesystem::create_directory(onHost("/tmp/t.5"));
    fill(onHost("/tmp/t.4"), "four");
    OrvDbg logger("t");

    EXPECT_EQ(traceLine(logger, lineOf(kLimit + 1)), static_cast<long>(kLimit + 1));

    EXPECT_EQ(file("t"), lineOf(kLimit + 1) + farewell());
    EXPECT_EQ(file("t.4"), "four");
    EXPECT_EQ(traceLine(logger, lineOf(100)), -1);
}

// In place of each generation: a link to a file, to nothing, to a directory, and a second name of a file.
TEST_F(OrvDbgRotation, harmsNothingThatPlantedGenerationsLeadTo) {
    std::filesystem::create_directory(onHost("/outside"));
    fill(onHost("/outside/precious"), "precious");
    const std::function<void(const std::string&)> plants[] = {
        [this](const std::string& at) { std::filesystem::create_symlink(onHost("/outside/precious"), at); },
        [this](const std::string& at) { std::filesystem::create_symlink(onHost("/outside/new"), at); },
        [this](const std::string& at) { std::filesystem::create_directory_symlink(onHost("/outside"), at); },
        [this](const std::string& at) { std::filesystem::create_hard_link(onHost("/outside/precious"), at); },
    };
    for (const auto& plant : plants) {
        OrvDbg logger("t");
        for (const char* generation : {".1", ".2", ".3", ".4", ".5"}) {
            plant(onHost(std::string("/tmp/t") + generation));
        }

        for (int line = 0; line < 6; ++line) {
            EXPECT_GT(traceLine(logger, lineOf(kLimit + 1)), 0);
        }

        EXPECT_EQ(file("t.5"), lineOf(kLimit + 1));
        EXPECT_EQ(contents(onHost("/outside/precious")), "precious");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(onHost("/outside")), {}), 1);
        for (const char* generation : {".1", ".2", ".3", ".4", ".5"}) {
            std::filesystem::remove(onHost(std::string("/tmp/t") + generation));
        }
    }
}

// A directory moves up by its name only, and stays as it is.
TEST_F(OrvDbgRotation, harmsNothingInADirectoryInPlaceOfAGeneration) {
    std::filesystem::create_directory(onHost("/tmp/t.2"));
    fill(onHost("/tmp/t.2/precious"), "precious");
    OrvDbg logger("t");
    for (int line = 0; line < 6; ++line) {
        static_cast<void>(traceLine(logger, lineOf(kLimit + 1)));
    }

    EXPECT_EQ(contents(onHost("/tmp/t.5/precious")), "precious");
    EXPECT_TRUE(file("t").ends_with(farewell()));
}

TEST_F(OrvDbgRotation, writesToNoFileThatHasAnotherName) {
    OrvDbg logger("t");
    fill(onHost("/precious"), "precious");
    const StepBeforeCall plant("open", "/tmp/t",
                               [this] { std::filesystem::create_hard_link(onHost("/precious"), onHost("/tmp/t")); });

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(traceLine(logger, lineOf(100)), -1);
    EXPECT_EQ(contents(onHost("/precious")), "precious");
}

TEST_F(OrvDbgRotation, saysFarewellAtTheTimeOfTheFailure) {
    OrvDbg logger("t");
    const OnCall renaming("rename", "", [this](const CallFaults::Made&) {
        clock_.set(kNoLocalTime, 0);
        return EIO;
    });

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(file("t"), lineOf(kLimit + 1) + "?\?/?\?/????.??? " + std::to_string(getpid()) +
                             " OrvDbg Rotate: Rotation of logs for orvApp failed!\nShutting down logging for "
                             "orvApp!\nGoodbye!");
}

TEST_F(OrvDbgRotation, isSilentWithoutFarewellWhenTheFileCannotBeReopened) {
    OrvDbg logger("t");
    fill(onHost("/precious"), "precious");
    const OnCall renaming("rename", "", [this](const CallFaults::Made&) {
        std::filesystem::remove(onHost("/tmp/t"));
        std::filesystem::create_symlink(onHost("/precious"), onHost("/tmp/t"));
        return EIO;
    });

    traceLine(logger, lineOf(kLimit + 1));

    EXPECT_EQ(contents(onHost("/precious")), "precious");
    EXPECT_EQ(traceLine(logger, lineOf(100)), -1);
}

TEST_F(OrvDbgRotation, isSilentWhenTheNewFileCannotBeOpened) {
    OrvDbg logger("t");
    fill(onHost("/precious"), "precious");
    const StepBeforeCall plant("open", "/tmp/t",
                               [this] { std::filesystem::create_symlink(onHost("/precious"), onHost("/tmp/t")); });

    EXPECT_EQ(traceLine(logger, lineOf(kLimit + 1)), static_cast<long>(kLimit + 1));

    EXPECT_EQ(traceLine(logger, lineOf(100)), -1);
    EXPECT_EQ(file("t.1"), lineOf(kLimit + 1));
    EXPECT_EQ(contents(onHost("/precious")), "precious");
}

TEST_F(OrvDbgRotation, keepsALineTracedWhileAnotherThreadRotates) {
    OrvDbg logger("t");
    std::atomic<bool> started{false};
    long reached = 0;
    std::jthread other;
    const OnCall renaming("rename", "", [&](const CallFaults::Made&) {
        if (!other.joinable()) {
            other = std::jthread([&] {
                started = true;
                reached = trace(logger, "A", "b", "meanwhile\n");
            });
        }
        while (!started) {
            std::this_thread::yield();
        }
        for (int turn = 0; turn < 1000; ++turn) {
            std::this_thread::yield();  // the other one looks at the logger now, and waits
        }
        return 0;
    });

    traceLine(logger, lineOf(kLimit + 1));
    other.join();

    const std::string line = prefix("A", "b") + "meanwhile\n";
    EXPECT_EQ(reached, static_cast<long>(line.size()));
    EXPECT_EQ(file("t"), line);
    EXPECT_EQ(file("t.1"), lineOf(kLimit + 1));
}

// Whether the line comes whole or in parts.
class OrvDbgRotationMeanwhile : public OrvDbgRotation, public testing::WithParamInterface<bool> {};

TEST_P(OrvDbgRotationMeanwhile, refusesALineThatWaitedForARotationThatFailed) {
    OrvDbg logger("t");
    std::atomic<bool> waits{false};
    long reached = 0;
    std::jthread other;
    const auto step = [&](const CallFaults::Made& made) {
        waits = waits ||
                (!made.onMainThread && made.call == "pthread_mutex_lock");  // the look at the logger lies behind it
        if (made.call != "rename") {
            return 0;
        }
        other = std::jthread([&] {
            reached = GetParam() ? logger.traceParts("A", "b", {"{", "meanwhile", "}\n"})
                                 : trace(logger, "A", "b", "meanwhile\n");
        });
        while (!waits) {
            std::this_thread::yield();
        }
        return EIO;
    };
    const OnCall calls("", "", step, true);

    traceLine(logger, lineOf(kLimit + 1));
    other.join();

    EXPECT_EQ(reached, -1);
    EXPECT_EQ(file("t"), lineOf(kLimit + 1) + farewell());
}

INSTANTIATE_TEST_SUITE_P(Line, OrvDbgRotationMeanwhile, testing::Bool(),
                         [](const auto& test) { return test.param ? "inParts" : "whole"; });

TEST_F(OrvDbgRotation, keepsEveryLineWholeWhenThreadsShareALogger) {
    constexpr int kThreads = 4;
    constexpr int kLines = 250;  // in all less than six files hold
    OrvDbg logger("t");
    std::vector<std::jthread> threads;

    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&logger, i] {
            for (int line = 0; line < kLines; ++line) {
                trace(logger, "A", "b", "thread %d line %d\n", i, line);
            }
        });
    }
    threads.clear();

    std::string all;
    for (const char* name : {"t.5", "t.4", "t.3", "t.2", "t.1", "t"}) {
        all += file(name);
    }
    std::size_t expected = 0;
    for (int i = 0; i < kThreads; ++i) {
        std::size_t at = 0;
        for (int line = 0; line < kLines; ++line) {
            const std::string text =
                prefix("A", "b") + "thread " + std::to_string(i) + " line " + std::to_string(line) + "\n";
            at = all.find(text, at);
            ASSERT_NE(at, std::string::npos) << text;
            expected += text.size();
        }
    }
    EXPECT_EQ(all.size(), expected);
    EXPECT_TRUE(exists("t.1"));
}

TEST_F(OrvDbgRotation, makesThreadsThatShareALoggerSilentTogether) {
    OrvDbg logger("t");
    std::filesystem::create_directory(onHost("/tmp/t.5"));
    fill(onHost("/tmp/t.4"), "four");
    std::vector<std::jthread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&logger] {
            while (traceLine(logger, lineOf(500)) != -1) {
            }
        });
    }
    threads.clear();

    const std::string all = file("t");
    EXPECT_EQ(all.size(), 41 * 500 + farewell().size());
    EXPECT_TRUE(all.ends_with("\n" + farewell()));
}

}  // namespace
