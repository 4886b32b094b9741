#include "platform/wire/Wire.h"
#include "platform/wire/Fields.h"

#include <gmock/gmock.h>

#include <array>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string textOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST(WireWriter, writesTheMostSignificantByteFirst) {
    const Bytes bytes = WireWriter().u16(0x0102).u32(0x03040506).i16(-2).i32(-3).take();

    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFD));
}

TEST(WireWriter, writesAnAddressInTenBytes) {
    const Bytes bytes = WireWriter().address({0x01020304, 0x05060708, 0x090A}).take();

    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
}

TEST(WireWriter, padsAFixedTextWithNul) {
    EXPECT_THAT(WireWriter().fixedText("ab", 4).take(), ElementsAre('a', 'b', 0, 0));
}

TEST(WireWriter, letsAFixedTextFillItsSlot) {
    EXPECT_THAT(WireWriter().fixedText("abcd", 4).take(), ElementsAre('a', 'b', 'c', 'd'));
}

TEST(WireWriter, cutsAFixedTextThatIsTooLong) {
    EXPECT_THAT(WireWriter().fixedText("abcde", 4).take(), ElementsAre('a', 'b', 'c', 'd'));
}

TEST(WireWriter, keepsTheLastByteOfATerminatedTextNul) {
    EXPECT_THAT(WireWriter().terminatedText("abcde", 4).take(), ElementsAre('a', 'b', 'c', 0));
}

TEST(WireWriter, writesTheLengthBeforeAText) {
    EXPECT_THAT(WireWriter().text16("ab").take(), ElementsAre(0, 2, 'a', 'b'));
    EXPECT_THAT(WireWriter().text32("ab").take(), ElementsAre(0, 0, 0, 2, 'a', 'b'));
}

TEST(WireWriter, cutsAShortTextAt65535Bytes) {
    const Bytes bytes = WireWriter().text16(std::string(70000, 'x')).take();

    EXPECT_THAT(bytes, SizeIs(2 + 65535));
    EXPECT_EQ(bytes[0], 0xFF);
    EXPECT_EQ(bytes[1], 0xFF);
}

TEST(WireReader, readsWhatTheWriterWrites) {
    const Hsb_Address address{7, 8, 9};
    const Bytes bytes = WireWriter()
                            .u16(65535)
                            .u32(4294967295u)
                            .i16(-32768)
                            .i32(-2147483647 - 1)
                            .address(address)
                            .fixedText("slot", 8)
                            .text16("short")
                            .text32("long")
                            .bytes(std::array<std::uint8_t, 3>{1, 2, 3})
                            .take();

    WireReader reader(bytes);

    EXPECT_EQ(reader.u16(), 65535);
    EXPECT_EQ(reader.u32(), 4294967295u);
    EXPECT_EQ(reader.i16(), -32768);
    EXPECT_EQ(reader.i32(), -2147483647 - 1);
    EXPECT_EQ(reader.address(), address);
    EXPECT_EQ(reader.fixedText(8), "slot");
    EXPECT_EQ(reader.text16(), "short");
    EXPECT_EQ(reader.text32(), "long");
    EXPECT_FALSE(reader.done());
    EXPECT_THAT(reader.rest(), ElementsAre(1, 2, 3));
    EXPECT_TRUE(reader.done());
}

TEST(WireReader, endsAFixedTextAtItsFirstNul) {
    const Bytes bytes{'a', 0, 'b', 'c'};

    EXPECT_EQ(WireReader(bytes).fixedText(4), "a");
}

TEST(WireReader, keepsNulInATextWithLength) {
    const Bytes bytes{0, 3, 'a', 0, 'b'};

    EXPECT_EQ(WireReader(bytes).text16(), std::string("a\0b", 3));
}

TEST(WireReader, takesNoMoreThanThereIs) {
    const Bytes bytes{1, 2, 3};
    WireReader reader(bytes);

    EXPECT_EQ(reader.u32(), 0u);

    EXPECT_FALSE(reader.ok());
    EXPECT_FALSE(reader.done());
}

TEST(WireReader, givesNothingMoreOnceSomethingWasMissing) {
    const Bytes bytes{1, 2, 3};
    WireReader reader(bytes);
    reader.u32();

    EXPECT_EQ(reader.u16(), 0);
    EXPECT_THAT(reader.bytes(1), IsEmpty());
    EXPECT_THAT(reader.rest(), IsEmpty());
    EXPECT_EQ(reader.fixedText(2), "");
    EXPECT_EQ(reader.text16(), "");
    EXPECT_EQ(reader.text32(), "");
    EXPECT_EQ(reader.address(), (Hsb_Address{0, 0, 0}));
    EXPECT_FALSE(reader.ok());
}

TEST(WireReader, refusesATextThatIsLongerThanTheRest) {
    const Bytes bytes{0xFF, 0xFF, 0xFF, 0xFF, 'a'};
    WireReader reader(bytes);

    EXPECT_EQ(reader.text32(), "");

    EXPECT_FALSE(reader.ok());
}

TEST(WireReader, isDoneAtOnceWithNoBytes) {
    WireReader reader({});

    EXPECT_TRUE(reader.done());
    EXPECT_EQ(reader.remaining(), 0u);
    EXPECT_EQ(textOf(reader.rest()), "");
    EXPECT_TRUE(reader.ok());
}

namespace {

struct Narrow {
    std::uint8_t byte = 0;
    bool on = false;

    static void fields(auto& io, auto& message) {
        io(message.byte);
        io.flag8(message.on);
    }
};

}  // namespace

TEST(Fields, aByteAndAFlagOfOneGoAsWideAsTheyAre) {
    EXPECT_THAT(encodeFields(Narrow{0xFE, true}), ElementsAre(0xFE, 1));

    const Bytes bytes{7, 2};
    const auto read = decodeFields<Narrow>(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->byte, 7);
    EXPECT_TRUE(read->on);
    EXPECT_FALSE(decodeFields<Narrow>(Bytes{7}));
}
