#include "smtp/OrvMailBuffer.h"

#include <gtest/gtest.h>

#include <string>

using Empty = OrvMailBuffer::Empty;

TEST(OrvMailBuffer, addsLabelValueAndLineEnd) {
    OrvMailBuffer buffer(100);

    buffer.addLabelData(orv_label::kFrom, "a@b");
    buffer.addLabelData(orv_label::kText, "hello");

    EXPECT_EQ(buffer.text(), "From: a@b\r\nText:           hello\r\n");
}

TEST(OrvMailBuffer, skipsAnEmptyValueUnlessItIsForced) {
    OrvMailBuffer buffer(100);

    buffer.addLabelData(orv_label::kPort, "");
    EXPECT_EQ(buffer.text(), "");

    buffer.addLabelData(orv_label::kPort, "", Empty::kForce);
    EXPECT_EQ(buffer.text(), "Port:           \r\n");
}

TEST(OrvMailBuffer, addsAValueOfOneBlank) {
    OrvMailBuffer buffer(100);

    buffer.addLabelData(orv_label::kBcc, " ");

    EXPECT_EQ(buffer.text(), "Bcc:  \r\n");
}

TEST(OrvMailBuffer, addsALineEndOfItsOwnUnderTheEmptyLabel) {
    OrvMailBuffer buffer(100);

    buffer.addLabelData(orv_label::kNone, "\r\n");

    EXPECT_EQ(buffer.text(), "\r\n\r\n");
}

TEST(OrvMailBuffer, takesALineThatEndsOneByteBeforeTheLimit) {
    OrvMailBuffer buffer(12);  // "From: a@b" CR LF is 11 bytes

    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.text(), "From: a@b\r\n");
}

TEST(OrvMailBuffer, fillsWithBlanksWhenALineWouldEndExactlyAtTheLimit) {
    OrvMailBuffer buffer(11);

    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.text(), std::string(11, ' '));
}

TEST(OrvMailBuffer, addsNoLineAfterOneThatDidNotFit) {
    OrvMailBuffer buffer(20);
    buffer.addLabelData(orv_label::kFrom, "a@b");

    buffer.addLabelData(orv_label::kText, "too long for the rest");
    buffer.addLabelData(orv_label::kNone, "x");
    buffer.addLabelData(orv_label::kNone, "", Empty::kForce);

    EXPECT_EQ(buffer.text(), "From: a@b\r\n" + std::string(9, ' '));
}

TEST(OrvMailBuffer, keepsTheLimitAlsoForForcedLines) {
    OrvMailBuffer buffer(10);

    buffer.addLabelData(orv_label::kPort, "", Empty::kForce);

    EXPECT_EQ(buffer.text(), std::string(10, ' '));
}

TEST(OrvMailBuffer, fillsNothingForASkippedEmptyValue) {
    OrvMailBuffer buffer(3);

    buffer.addLabelData(orv_label::kPort, "");

    EXPECT_EQ(buffer.text(), "");
}

TEST(OrvMailBuffer, addsNothingWithALimitOfZero) {
    OrvMailBuffer buffer(0);

    buffer.addLabelData(orv_label::kFrom, "a@b");
    buffer.addLabelData(orv_label::kNone, "", Empty::kForce);

    EXPECT_EQ(buffer.text(), "");
}

TEST(OrvMailBuffer, fillsExactlyOneBlankWhenOneByteIsLeft) {
    OrvMailBuffer buffer(12);
    buffer.addLabelData(orv_label::kFrom, "a@b");

    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.text(), "From: a@b\r\n ");
}

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

TEST(OrvMailBuffer, takesTheLargestLimitThereIs) {
    OrvMailBuffer buffer(4294967295u);

    buffer.addLabelData(orv_label::kFrom, "a@b");

    EXPECT_EQ(buffer.text(), "From: a@b\r\n");
    EXPECT_EQ(buffer.limit(), 4294967295u);
}

TEST(OrvMailBuffer, carriesPercentSignsAndZeroBytesAsTheyAre) {
    OrvMailBuffer buffer(100);

    buffer.addLabelData(orv_label::kNone, std::string("100%s%n\0!", 9));

    EXPECT_EQ(buffer.text(), std::string("100%s%n\0!\r\n", 11));
}
