#include "Sw_Log_Type.h"

#include "testing/PayloadPieces.h"

#include <gmock/gmock.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

Sw_Log_Type exampleRecord() {
    Sw_Log_Type record;
    record.kind = 2;
    record.number = 0x8B000005;
    record.slot = 3;
    record.chip = 4;
    record.port = 5;
    record.spare = 6;
    record.flags = 4096;
    record.componentClass = 64;
    record.seconds = 0xFFFFFFFF;
    record.microseconds = 999999;
    record.location1 = 7;
    record.location2 = -8;
    record.locationIndex = 9;
    record.locationName1 = "Blade";
    record.locationName2 = "Port";
    record.text = "Link failure";
    return record;
}

// size bytes from offset on.
Bytes part(const Bytes& bytes, std::size_t offset, std::size_t size) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

void expectSame(const Sw_Log_Type& read, const Sw_Log_Type& written) {
    EXPECT_EQ(read.kind, written.kind);
    EXPECT_EQ(read.number, written.number);
    EXPECT_EQ(read.slot, written.slot);
    EXPECT_EQ(read.chip, written.chip);
    EXPECT_EQ(read.port, written.port);
    EXPECT_EQ(read.spare, written.spare);
    EXPECT_EQ(read.flags, written.flags);
    EXPECT_EQ(read.componentClass, written.componentClass);
    EXPECT_EQ(read.seconds, written.seconds);
    EXPECT_EQ(read.microseconds, written.microseconds);
    EXPECT_EQ(read.location1, written.location1);
    EXPECT_EQ(read.location2, written.location2);
    EXPECT_EQ(read.locationIndex, written.locationIndex);
    EXPECT_EQ(read.locationName1, written.locationName1);
    EXPECT_EQ(read.locationName2, written.locationName2);
    EXPECT_EQ(read.text, written.text);
}

}  // namespace

TEST(Sw_Log_Type, takesTheseBytes) {
    const Bytes bytes = exampleRecord().encode();

    ASSERT_EQ(bytes.size(), 312u);
    EXPECT_EQ(part(bytes, 0, 48), (Bytes{0, 0,    0,    2,    0x8B, 0, 0, 5,  0,    0,    0,    3,     //
                                         0, 0,    0,    4,    0,    0, 0, 5,  0,    0,    0,    6,     //
                                         0, 0,    0x10, 0,    0,    0, 0, 64, 0xFF, 0xFF, 0xFF, 0xFF,  //
                                         0, 0x0F, 0x42, 0x3F, 0,    0, 0, 7,  0xFF, 0xFF, 0xFF, 0xF8}));
    EXPECT_EQ(part(bytes, 48, 2), (Bytes{0, 9}));
    EXPECT_EQ(part(bytes, 50, 16), paddedText("Blade", 16));
    EXPECT_EQ(part(bytes, 66, 16), paddedText("Port", 16));
    EXPECT_EQ(part(bytes, 82, 2), (Bytes{0, 0}));
    EXPECT_EQ(part(bytes, 84, 228), paddedText("Link failure", 228));
}

TEST(Sw_Log_Type, isReadAsItWasWritten) {
    Sw_Log_Type read;

    ASSERT_EQ(Sw_Log_Type::decode(exampleRecord().encode(), read), 0);

    expectSame(read, exampleRecord());
}

TEST(Sw_Log_Type, isRefusedAndLeftAloneWhenTooShort) {
    const Bytes bytes = exampleRecord().encode();
    for (std::size_t length = 0; length < 312; ++length) {
        Sw_Log_Type read;
        read.text = "untouched";
        EXPECT_EQ(Sw_Log_Type::decode(part(bytes, 0, length), read), -1) << length;
        EXPECT_EQ(read.text, "untouched");
        EXPECT_EQ(read.kind, 0);
    }
}

TEST(Sw_Log_Type, ignoresWhatFollowsTheRecord) {
    Bytes bytes = exampleRecord().encode();
    bytes.resize(400, 0xEE);
    Sw_Log_Type read;

    ASSERT_EQ(Sw_Log_Type::decode(bytes, read), 0);

    expectSame(read, exampleRecord());
}

TEST(Sw_Log_Type, cutsTextsSoThatEachFieldEndsWithNul) {
    Sw_Log_Type record;
    record.locationName1 = std::string(40, 'a');
    record.locationName2 = std::string(40, 'b');
    record.text = std::string(400, 't');
    Sw_Log_Type read;

    const Bytes bytes = record.encode();

    ASSERT_EQ(bytes.size(), 312u);
    EXPECT_EQ(bytes[65], 0);
    EXPECT_EQ(bytes[81], 0);
    EXPECT_EQ(bytes[311], 0);
    ASSERT_EQ(Sw_Log_Type::decode(bytes, read), 0);
    EXPECT_EQ(read.locationName1, std::string(15, 'a'));
    EXPECT_EQ(read.locationName2, std::string(15, 'b'));
    EXPECT_EQ(read.text, std::string(227, 't'));
}

TEST(Sw_Log_Type, endsTextsWithoutNulAtTheEndOfTheirField) {
    const Bytes bytes(312, 'x');
    Sw_Log_Type read;

    ASSERT_EQ(Sw_Log_Type::decode(bytes, read), 0);

    EXPECT_EQ(read.locationName1, std::string(16, 'x'));
    EXPECT_EQ(read.locationName2, std::string(16, 'x'));
    EXPECT_EQ(read.text, std::string(228, 'x'));
}

TEST(Sw_Log_Type, beginsWithoutAnyPlace) {
    Sw_Log_Type read;

    ASSERT_EQ(Sw_Log_Type::decode(Sw_Log_Type{}.encode(), read), 0);

    EXPECT_EQ(read.slot, -1);
    EXPECT_EQ(read.chip, -1);
    EXPECT_EQ(read.port, -1);
    EXPECT_EQ(read.locationIndex, -1);
}
