#include "smtp/OrvMailBuffer.h"

#include "testing/FailingCalls.h"
#include "testing/dbg/TraceFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Empty = OrvMailBuffer::Empty;

struct Line {
    OrvMailLabel label;
    std::string value;
    Empty empty = Empty::kSkip;
};

// A mail of these lines, cut at the limit, is this text.
struct Mail {
    const char* name;
    std::uint32_t limit;
    std::vector<Line> lines;
    std::string text;
};

const Line kShort{orv_label::kFrom, "a@b"};  // "From: a@b" CR LF is 11 bytes
const Line kSkipped{orv_label::kPort, ""};
const Line kForced{orv_label::kPort, "", Empty::kForce};
const Line kEmptyLine{orv_label::kNone, "", Empty::kForce};
const std::string kOdd("100%s%n\0!", 9);

const Mail kMails[] = {
    {"labelValueAndLineEnd", 100, {kShort, {orv_label::kText, "hi"}}, "From: a@b\r\nText:           hi\r\n"},
    {"nothingForAnEmptyValue", 100, {kSkipped}, ""},
    {"anEmptyValueThatIsForced", 100, {kForced}, "Port:           \r\n"},
    {"aValueOfOneBlank", 100, {{orv_label::kBcc, " "}}, "Bcc:  \r\n"},
    {"aLineEndOfItsOwnUnderTheEmptyLabel", 100, {{orv_label::kNone, "\r\n"}}, "\r\n\r\n"},
    {"aLineThatEndsOneByteBeforeTheLimit", 12, {kShort}, "From: a@b\r\n"},
    {"blanksForALineThatWouldEndExactlyAtTheLimit", 11, {kShort}, std::string(11, ' ')},
    {"oneBlankWhenOneByteIsLeft", 12, {kShort, kShort}, "From: a@b\r\n "},
    {"noLineAfterOneThatDidNotFit",
     20,
     {kShort, kForced, {orv_label::kNone, "x"}, kEmptyLine},
     "From: a@b\r\n         "},
    {"blanksForAForcedLineBeyondTheLimit", 10, {kForced}, std::string(10, ' ')},
    {"noBlanksForASkippedValue", 3, {kSkipped}, ""},
    {"nothingWithALimitOfZero", 0, {kShort, kEmptyLine}, ""},
    {"whateverThereIsWithTheLargestLimit", 4294967295u, {kShort}, "From: a@b\r\n"},
    {"percentSignsAndZeroBytesAsTheyAre", 100, {{orv_label::kNone, kOdd}}, kOdd + "\r\n"},
};

class OrvMailBufferLines : public testing::TestWithParam<Mail> {};

}  // namespace

TEST_P(OrvMailBufferLines, holds) {
    OrvMailBuffer buffer(GetParam().limit);

    for (const Line& line : GetParam().lines) {
        buffer.addLabelData(line.label, line.value, line.empty);
    }

    EXPECT_EQ(buffer.text(), GetParam().text);
    EXPECT_EQ(buffer.limit(), GetParam().limit);
}

INSTANTIATE_TEST_SUITE_P(Mail, OrvMailBufferLines, testing::ValuesIn(kMails),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(OrvMailBuffer, appendsDirectTextBeyondTheLimitAndThenAddsNoLine) {
    OrvMailBuffer buffer(5);

    buffer.append("longer than five");
    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.text(), "longer than five");
}

TEST(OrvMailBuffer, growsInPlaceUpToWhatRoomWasMadeFor) {
    OrvMailBuffer buffer(100000);
    buffer.reserve(5000);
    const char* const place = buffer.text().data();

    for (int i = 0; i < 49; ++i) {
        buffer.addLabelData(orv_label::kSwitchName, std::string(82, 'x'));
    }
    buffer.append(std::string(100, 'y'));

    EXPECT_EQ(buffer.text().size(), 5000u);
    EXPECT_EQ(buffer.text().data(), place);
}

TEST(OrvMailBuffer, goesOnWithoutRoomThatCannotBeMade) {
    OrvMailBuffer buffer(100);

    buffer.reserve(UINT64_MAX);
    buffer.addLabelData(orv_label::kFrom, "a@x");

    EXPECT_EQ(buffer.text(), "From: a@x\r\n");
}

class OrvMailBufferTraces : public TraceFixture {
protected:
    static std::string added(const std::string& line) {
        return prefix("OrvMailBuffer", "addLabelData") + "Adding to buffer: " + line + " CRLF\n";
    }
    static constexpr char kName[] = "mail";
    const ThreadLogger logger_{kName};
};

TEST_F(OrvMailBufferTraces, tellsOfItsLinesTogether) {
    OrvMailBuffer buffer(1000);
    buffer.reserve(1000);
    const CountedCalls calls(kName);

    buffer.addLabelData(orv_label::kFrom, "a@b");
    buffer.append("not a line\r\n");
    buffer.addLabelData(orv_label::kNone, "\r\n");
    EXPECT_EQ(file(kName), "");
    buffer.traceLines();
    buffer.traceLines();

    EXPECT_EQ(calls.calls(), 1u);
    EXPECT_EQ(file(kName), added("From: a@b") + added("\r\n"));
}

TEST_F(OrvMailBufferTraces, tellsOfALineForWhichNoRoomWasMadeAtOnce) {
    OrvMailBuffer buffer(1000);
    buffer.reserve(100);
    const std::string large(200, 'x');

    buffer.addLabelData(orv_label::kFrom, "a@b");
    buffer.addLabelData(orv_label::kFrom, large);

    EXPECT_EQ(file(kName), added("From: a@b") + added("From: " + large));
}

TEST_F(OrvMailBufferTraces, tellsOfManyLines) {
    std::string expected;
    {
        OrvMailBuffer buffer(10000);
        buffer.reserve(10000);
        for (int i = 0; i < 100; ++i) {
            buffer.addLabelData(orv_label::kFrom, std::to_string(i));
            expected += added("From: " + std::to_string(i));
        }
    }

    EXPECT_EQ(file(kName), expected);
}

TEST_F(OrvMailBufferTraces, tellsOfItsLinesBeforeItsTextIsTaken) {
    OrvMailBuffer buffer(1000);
    buffer.reserve(1000);

    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.take(), "From: a@b\r\n");
    EXPECT_EQ(file(kName), added("From: a@b"));
}
