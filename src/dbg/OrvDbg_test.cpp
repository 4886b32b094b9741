#include "dbg/OrvDbg.h"

#include "Descriptor.h"
#include "testing/FailingCalls.h"
#include "testing/dbg/TraceFixture.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <iterator>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvApp";

class OrvDbgTest : public TraceFixture {};

TEST_F(OrvDbgTest, writesDateZoneTimeTwoBlanksProcessModuleFunctionAndMessage) {
    OrvDbg logger("orv.out.Main");

    trace(logger, "OrvApp", "processOrvMsg", "code %d from %s\n", 7, "SM");

    EXPECT_EQ(file("orv.out.Main"),
              "11/14/2023 UTC 22:13:20.123  " + std::to_string(getpid()) + " OrvApp processOrvMsg: code 7 from SM\n");
}

TEST_F(OrvDbgTest, returnsTheBytesOfTheFileAfterEachLine) {
    OrvDbg logger("orv.out.Main");

    const long first = trace(logger, "OrvApp", "main", "one\n");
    EXPECT_EQ(first, static_cast<long>(file("orv.out.Main").size()));
    const long second = trace(logger, "OrvApp", "main", "twenty-two\n");

    EXPECT_EQ(second, static_cast<long>(file("orv.out.Main").size()));
    EXPECT_EQ(second, first + static_cast<long>((prefix("OrvApp", "main") + "twenty-two\n").size()));
}

TEST_F(OrvDbgTest, emptiesTheFileOfAnEarlierRun) {
    fill(onHost("/tmp/orv.out.Main"), "an earlier run\n");

    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(file("orv.out.Main"), "");
    trace(logger, "OrvApp", "main", "new\n");
    EXPECT_EQ(file("orv.out.Main"), prefix("OrvApp", "main") + "new\n");
}

TEST_F(OrvDbgTest, addsNoLineFeedOfItsOwn) {
    OrvDbg logger("orv.out.Main");

    trace(logger, "A", "b", "no end");
    trace(logger, "A", "b", "%s", "");

    EXPECT_EQ(file("orv.out.Main"), prefix("A", "b") + "no end" + prefix("A", "b"));
}

TEST_F(OrvDbgTest, takesPercentSignsInArgumentsAsTheyAre) {
    OrvDbg logger("orv.out.Main");

    trace(logger, "A", "b", "{%s}\n", "250 100% %s %n");

    EXPECT_EQ(file("orv.out.Main"), prefix("A", "b") + "{250 100% %s %n}\n");
}

TEST_F(OrvDbgTest, padsMillisecondsToThreeDigits) {
    OrvDbg logger("orv.out.Main");
    std::string expected;

    for (const auto& [microseconds, text] : {std::pair{0, ".000 "}, std::pair{999, ".000 "}, std::pair{7000, ".007 "},
                                             std::pair{45678, ".045 "}, std::pair{999999, ".999 "}}) {
        clock_.set(kNow, microseconds);
        trace(logger, "A", "b", "x\n");
        expected += std::string("11/14/2023 UTC 22:13:20") + text + " " + std::to_string(getpid()) + " A b: x\n";
    }

    EXPECT_EQ(file("orv.out.Main"), expected);
}

TEST_F(OrvDbgTest, hasOneBlankLessWithoutLocalTime) {
    OrvDbg logger("orv.out.Main");
    clock_.set(kNoLocalTime, 123456);

    trace(logger, "OrvApp", "main", "when?\n");

    EXPECT_EQ(file("orv.out.Main"), "?\?/?\?/????.??? " + std::to_string(getpid()) + " OrvApp main: when?\n");
}

TEST_F(OrvDbgTest, hasADateAgainWhenLocalTimeIsBack) {
    OrvDbg logger("orv.out.Main");
    clock_.set(kNoLocalTime, 0);
    trace(logger, "A", "b", "x\n");
    clock_.set(kNow, 123456);

    trace(logger, "A", "b", "y\n");

    EXPECT_EQ(file("orv.out.Main"),
              "?\?/?\?/????.??? " + std::to_string(getpid()) + " A b: x\n" + prefix("A", "b") + "y\n");
}

TEST_F(OrvDbgTest, writesNoDateWhenTheZoneIsTooLongForIt) {
    const ZoneScope zone("<ABCDEFGHIJKLM>0");
    OrvDbg logger("orv.out.Main");

    trace(logger, "A", "b", "x\n");

    EXPECT_EQ(file("orv.out.Main"), "?\?/?\?/????.??? " + std::to_string(getpid()) + " A b: x\n");
}

TEST_F(OrvDbgTest, followsTheClockForwardsAndBackwards) {
    OrvDbg logger("orv.out.Main");
    std::string expected;

    for (const auto& [seconds, text] :
         {std::pair{0, "20"}, std::pair{0, "20"}, std::pair{1, "21"}, std::pair{39, "59"}, std::pair{2, "22"}}) {
        clock_.set(kNow + seconds, 1000);
        trace(logger, "A", "b", "x\n");
        expected += std::string("11/14/2023 UTC 22:13:") + text + ".001  " + std::to_string(getpid()) + " A b: x\n";
    }

    EXPECT_EQ(file("orv.out.Main"), expected);
}

TEST_F(OrvDbgTest, changesToAndFromDaylightTimeInTheSecondThatItBegins) {
    const ZoneScope zone("EST5EDT,M3.2.0,M11.1.0");
    constexpr std::int64_t kSpring = 1678604400;  // 2023-03-12 02:00:00 EST
    constexpr std::int64_t kAutumn = 1699164000;  // 2023-11-05 02:00:00 EDT
    OrvDbg logger("orv.out.Main");
    const std::string rest = "  " + std::to_string(getpid()) + " A b: x\n";

    for (const std::int64_t second : {kSpring - 1, kSpring, kAutumn - 1, kAutumn}) {
        clock_.set(second, 0);
        trace(logger, "A", "b", "x\n");
    }

    EXPECT_EQ(file("orv.out.Main"), "03/12/2023 EST 01:59:59.000" + rest + "03/12/2023 EDT 03:00:00.000" + rest +
                                        "11/05/2023 EDT 01:59:59.000" + rest + "11/05/2023 EST 01:00:00.000" + rest);
}

TEST_F(OrvDbgTest, writesMessagesOfEveryLengthWhole) {
    for (std::size_t length = 900; length < 1030; ++length) {
        OrvDbg logger("orv.out.Main");
        const std::string text(length, 'x');

        trace(logger, "A", "b", "%s\n", text.c_str());

        ASSERT_EQ(file("orv.out.Main"), prefix("A", "b") + text + "\n");
    }
}

TEST_F(OrvDbgTest, writesAMailInOneLine) {
    OrvDbg logger("orv.out.SMTPClient");
    const std::string mail(1500000, 'm');

    const long bytes = trace(logger, "OrvSMTPClient", "send", "SMTP Send (incl CRLF) {%s}\n", mail.c_str());

    const std::string expected = prefix("OrvSMTPClient", "send") + "SMTP Send (incl CRLF) {" + mail + "}\n";
    EXPECT_EQ(file("orv.out.SMTPClient.1"), expected);
    EXPECT_EQ(bytes, static_cast<long>(expected.size()));
}

TEST_F(OrvDbgTest, writesWhatItCanOfALongLineWhenMemoryIsShort) {
    OrvDbg logger("orv.out.Main");
    const FailingMemory noMemory(MemoryFaults::kNothrow, 0, 1);

    trace(logger, "A", "b", "%s\n", std::string(3000, 'x').c_str());
    trace(logger, "A", "b", "%s\n", "after");

    const std::string cut = prefix("A", "b") + std::string(1023 - prefix("A", "b").size(), 'x');
    EXPECT_EQ(file("orv.out.Main"), cut + prefix("A", "b") + "after\n");
}

TEST_F(OrvDbgTest, cutsAnEndlessFunctionName) {
    OrvDbg logger("orv.out.Main");
    const std::string name(5000, 'f');

    trace(logger, "A", name.c_str(), "%s", "message\n");

    EXPECT_EQ(file("orv.out.Main"), (prefix("A", name).substr(0, 1023) + "message\n"));
}

TEST_F(OrvDbgTest, writesTheSameBytesInParts) {
    const std::string big(100000, 'b');
    OrvDbg whole("whole");
    OrvDbg parts("parts");

    const long wholeBytes = trace(whole, "OrvSMTPClient", "send", "SMTP Send (incl CRLF) {%s}\n", big.c_str());
    const long partsBytes = parts.traceParts("OrvSMTPClient", "send", {"SMTP Send (incl CRLF) {", big, "}\n"});

    EXPECT_EQ(file("parts.1"), file("whole.1"));
    EXPECT_EQ(partsBytes, wholeBytes);
}

TEST_F(OrvDbgTest, endsPartsAtTheirFirstNulAsPrintfDoes) {
    OrvDbg logger("parts");

    logger.traceParts("A", "b", {"{", std::string_view("be\0hind", 7), "}\n"});

    const std::string big = std::string(2000, 'b') + '\0' + std::string(2000, 'h');
    logger.traceParts("A", "b", {"{", big, "", "}\n"});

    EXPECT_EQ(file("parts"), prefix("A", "b") + "{be}\n" + prefix("A", "b") + "{" + big.substr(0, 2000) + "}\n");
}

TEST_F(OrvDbgTest, writesEmptyParts) {
    OrvDbg logger("parts");

    logger.traceParts("A", "b", {"", "", ""});
    logger.traceParts("A", "b", {"", "", "}\n"});

    EXPECT_EQ(file("parts"), prefix("A", "b") + prefix("A", "b") + "}\n");
}

TEST_F(OrvDbgTest, goesOnAfterInterruptedAndShortWrites) {
    OrvDbg logger("parts");
    const std::string big(2000, 'b');
    int calls = 0;
    const OnCall writing("", "parts",
                         [&calls](const CallFaults::Made&) { return ++calls % 2 == 1 ? EINTR : CallFaults::kShort; });

    logger.traceParts("A", "b", {"start ", "", ""});
    trace(logger, "A", "b", "%s\n", "message");
    logger.traceParts("A", "b", {"{", big, "}\n"});

    EXPECT_EQ(file("parts"),
              prefix("A", "b") + "start " + prefix("A", "b") + "message\n" + prefix("A", "b") + "{" + big + "}\n");
    EXPECT_EQ(calls, 2 * static_cast<int>(file("parts").size()));
}

TEST_F(OrvDbgTest, writesPartsOfEveryLengthInOneCall) {
    for (std::size_t length = 900; length < 1030; ++length) {
        OrvDbg logger("parts");
        const std::string text(length, 'x');
        const CountedCalls calls("parts");

        const long bytes = logger.traceParts("A", "b", {"{", text, "}\n"});

        EXPECT_EQ(calls.calls(), 1u);
        ASSERT_EQ(file("parts"), prefix("A", "b") + "{" + text + "}\n");
        EXPECT_EQ(bytes, static_cast<long>(file("parts").size()));
    }
}

TEST_F(OrvDbgTest, writesLinesTogetherAsTheyAreOneByOne) {
    const std::string big(100000, 'b');
    const std::string texts[] = {"one", "", big.substr(0, 2000), std::string("be\0hind", 7), "five"};
    OrvDbg together("together");
    OrvDbg single("single");

    together.traceLines("A", "b", "{", std::vector<std::string_view>(std::begin(texts), std::end(texts)), "}\n");
    for (const std::string& text : texts) {
        single.traceParts("A", "b", {"{", text, "}\n"});
    }

    EXPECT_EQ(file("together"), file("single"));
    EXPECT_EQ(trace(together, "A", "b", "end\n"), trace(single, "A", "b", "end\n"));
}

TEST_F(OrvDbgTest, writesLinesTogetherInOneCall) {
    OrvDbg logger("lines");
    const std::vector<std::string_view> texts(14, "a line of a mail");
    const CountedCalls calls("lines");

    logger.traceLines("A", "b", "{", texts, "}\n");

    EXPECT_EQ(calls.calls(), 1u);
    std::string expected;
    for (const std::string_view text : texts) {
        expected.append(prefix("A", "b") + "{").append(text).append("}\n");
    }
    EXPECT_EQ(file("lines"), expected);
}

TEST_F(OrvDbgTest, writesNothingForNoLines) {
    OrvDbg logger("lines");
    const CountedCalls calls("lines");

    logger.traceLines("A", "b", "{", {}, "}\n");

    EXPECT_EQ(calls.calls(), 0u);
    EXPECT_EQ(file("lines"), "");
}

TEST_F(OrvDbgTest, losesALineThatTheFileSystemRefusesAndGoesOn) {
    OrvDbg logger("orv.out.Main");
    const FailingCall writing("trace", "", ENOSPC, 0, 1);
    const long lost = trace(logger, "A", "b", "lost\n");

    const long kept = trace(logger, "A", "b", "kept\n");

    EXPECT_EQ(file("orv.out.Main"), prefix("A", "b") + "kept\n");
    EXPECT_EQ(kept, 2 * lost);
}

TEST_F(OrvDbgTest, losesLinesWrittenTogetherThatTheFileSystemRefusesAndGoesOn) {
    OrvDbg logger("orv.out.Main");
    const std::string_view lines[] = {"lost", "lost too"};
    const FailingCall writing("trace", "", ENOSPC, 0, 1);
    logger.traceLines("A", "b", "", lines, "\n");

    const long kept = trace(logger, "A", "b", "kept\n");

    EXPECT_EQ(file("orv.out.Main"), prefix("A", "b") + "kept\n");
    const std::size_t counted = 3 * prefix("A", "b").size() + std::string_view("lost\nlost too\nkept\n").size();
    EXPECT_EQ(kept, static_cast<long>(counted));
}

TEST_F(OrvDbgTest, leavesErrnoAsItWas) {
    OrvDbg logger("orv.out.Main");
    const FailingCall writing("trace", "", ENOSPC);
    errno = ECONNREFUSED;
    const std::string_view lines[] = {"x", "y"};
    logger.traceLines("A", "b", "", lines, "\n");
    EXPECT_EQ(errno, ECONNREFUSED);

    trace(logger, "A", "b", "%s\n", "x");
    EXPECT_EQ(errno, ECONNREFUSED);
    logger.traceParts("A", "b", {"", "x", "\n"});

    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(OrvDbgTest, isSilentWhenItsFileCannotBeOpened) {
    std::filesystem::remove(onHost("/tmp"));
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(trace(logger, "A", "b", "x\n"), -1);
    EXPECT_EQ(logger.traceParts("A", "b", {"x", "y", "z"}), -1);
    const std::string_view lines[] = {"x", "y"};
    logger.traceLines("A", "b", "", lines, "\n");
    EXPECT_FALSE(exists(""));
}

TEST_F(OrvDbgTest, doesNotFollowAPlantedLink) {
    fill(onHost("/precious"), "precious");
    std::filesystem::create_symlink(onHost("/precious"), onHost("/tmp/orv.out.Main"));
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(trace(logger, "A", "b", "x\n"), -1);
    EXPECT_EQ(contents(onHost("/precious")), "precious");
}

TEST_F(OrvDbgTest, writesToNoFileThatHasAnotherName) {
    fill(onHost("/precious"), "precious");
    std::filesystem::create_hard_link(onHost("/precious"), onHost("/tmp/orv.out.Main"));
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(trace(logger, "A", "b", "x\n"), -1);
    EXPECT_EQ(contents(onHost("/precious")), "precious");
}

TEST_F(OrvDbgTest, isNotHeldUpByAPlantedPipe) {
    ASSERT_EQ(mkfifo(onHost("/tmp/orv.out.Main").c_str(), 0600), 0);
    OrvDbg logger("orv.out.Main");

    EXPECT_EQ(trace(logger, "A", "b", "x\n"), -1);
}

TEST_F(OrvDbgTest, keepsItsFileFromProgramsThatTheProcessStarts) {
    const int next = Descriptor(dup(0)).get();
    OrvDbg logger("orv.out.Main");

    EXPECT_NE(fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(OrvDbgTest, closesItsFile) {
    const int next = Descriptor(dup(0)).get();
    { OrvDbg logger("orv.out.Main"); }

    EXPECT_EQ(fcntl(next, F_GETFD), -1);
}

TEST_F(OrvDbgTest, tracesThroughTheLoggerOfTheThread) {
    const ThreadLogger logger("orv.out.Main");

    const long bytes = ORV_TRACE("Entry\n");
    const long more = orvTraceParts("OrvSMTPClient", "send", {"{", "big", "}\n"});

    const std::string first = prefix("OrvApp", __func__) + "Entry\n";
    EXPECT_EQ(file("orv.out.Main"), first + prefix("OrvSMTPClient", "send") + "{big}\n");
    EXPECT_EQ(bytes, static_cast<long>(first.size()));
    EXPECT_EQ(more, static_cast<long>(file("orv.out.Main").size()));
}

TEST_F(OrvDbgTest, tracesNothingOnAThreadWithoutLogger) {
    const ThreadLogger logger("orv.out.Main");
    long formatted = 0;
    long parts = 0;

    std::thread([&] {
        formatted = ORV_TRACE("Entry\n");
        parts = orvTraceParts("A", "b", {"", "big", "\n"});
    }).join();

    EXPECT_EQ(formatted, -1);
    EXPECT_EQ(parts, -1);
    EXPECT_EQ(file("orv.out.Main"), "");
}

TEST_F(OrvDbgTest, givesEachThreadItsOwnLogger) {
    const ThreadLogger logger("orv.out.Main");

    std::thread([] {
        const ThreadLogger workers("orv.out.Capture");
        ORV_TRACE("worker\n");
    }).join();
    orvTrace("OrvApp", "main", "main\n");

    EXPECT_EQ(file("orv.out.Main"), prefix("OrvApp", "main") + "main\n");
    EXPECT_EQ(file("orv.out.Capture"), prefix("OrvApp", "operator()") + "worker\n");
}

TEST_F(OrvDbgTest, saysWhenTheLoggerCannotBeSet) {
    OrvDbg logger("orv.out.Main");
    const FailingCall setting("pthread_setspecific", "", ENOMEM);

    EXPECT_EQ(OrvDbg::setOfThread(&logger), -1);
    EXPECT_EQ(OrvDbg::ofThread(), nullptr);
}

}  // namespace
