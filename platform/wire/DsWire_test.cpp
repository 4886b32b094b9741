#include "platform/wire/DsWire.h"

#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Bytes = std::vector<std::uint8_t>;

// The bytes before, a name in its slot of 255, and the bytes after.
Bytes aroundName(const Bytes& before, const std::string& name, const Bytes& after) {
    Bytes bytes = before;
    bytes.insert(bytes.end(), name.begin(), name.end());
    bytes.resize(before.size() + 255);
    bytes.insert(bytes.end(), after.begin(), after.end());
    return bytes;
}

}  // namespace

TEST(DsConnect, carriesTheVersion) {
    const auto payload = encodeFields(DsConnect{});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 1));
    ASSERT_TRUE(decodeFields<DsConnect>(payload));
    EXPECT_EQ(decodeFields<DsConnect>(payload)->version, 1u);
    expectOnlyTheWholePayloadIsRead<DsConnect>(payload);
}

TEST(DsGet, carriesIdCountAndNameSlot) {
    const auto payload = encodeFields(DsGet{6, 1, "A.b"});

    EXPECT_EQ(payload, aroundName({0, 0, 0, 6, 0, 0, 0, 1}, "A.b", {}));
    const auto read = decodeFields<DsGet>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 6u);
    EXPECT_EQ(read->count, 1u);
    EXPECT_EQ(read->name, "A.b");
    expectOnlyTheWholePayloadIsRead<DsGet>(payload);
}

TEST(DsGet, carriesANameThatFillsItsSlot) {
    const std::string longest(255, 'n');

    EXPECT_EQ(decodeFields<DsGet>(encodeFields(DsGet{1, 1, longest}))->name, longest);
}

TEST(DsBulkGet, carriesOneSlotPerName) {
    const auto payload = encodeFields(DsBulkGet{11, {"first", "second"}});

    const Bytes first = aroundName({0, 0, 0, 11, 0, 0, 0, 2}, "first", {});
    EXPECT_EQ(payload, aroundName(first, "second", {}));
    const auto read = decodeFields<DsBulkGet>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 11u);
    EXPECT_THAT(read->names, ElementsAre("first", "second"));
    expectOnlyTheWholePayloadIsRead<DsBulkGet>(payload);
}

TEST(DsBulkGet, mayAskForNothing) {
    const auto read = decodeFields<DsBulkGet>(encodeFields(DsBulkGet{11, {}}));

    ASSERT_TRUE(read);
    EXPECT_THAT(read->names, IsEmpty());
}

TEST(DsBulkGet, isReadWithSixtyFourNamesAndRefusedWithMore) {
    EXPECT_TRUE(decodeFields<DsBulkGet>(encodeFields(DsBulkGet{1, std::vector<std::string>(64, "n")})));
    EXPECT_FALSE(decodeFields<DsBulkGet>(encodeFields(DsBulkGet{1, std::vector<std::string>(65, "n")})));
}

TEST(DsBulkGet, refusesACountThatItsBytesDoNotBearOut) {
    EXPECT_FALSE(decodeFields<DsBulkGet>(Bytes{0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(decodeFields<DsBulkGet>(Bytes{0, 0, 0, 1, 0x01, 0x01, 0x01, 0x02}));
    EXPECT_FALSE(decodeFields<DsBulkGet>(Bytes{0, 0, 0, 1, 0, 0, 0, 1}));
}

TEST(DsSet, carriesIdTypeCountNameAndValue) {
    const auto payload = encodeFields(DsSet{10, 1, 1, "A", "OK"});

    EXPECT_EQ(payload, aroundName({0, 0, 0, 10, 0, 0, 0, 1, 0, 0, 0, 1}, "A", {0, 0, 0, 2, 'O', 'K'}));
    const auto read = decodeFields<DsSet>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 10u);
    EXPECT_EQ(read->type, 1u);
    EXPECT_EQ(read->count, 1u);
    EXPECT_EQ(read->name, "A");
    EXPECT_EQ(read->value, "OK");
    expectOnlyTheWholePayloadIsRead<DsSet>(payload);
}

TEST(DsAttributeAnswer, carriesIdNameTypeStatusAndValue) {
    const auto payload = encodeFields(DsAttributeAnswer{7, {"A", 1, -2, "True"}});

    EXPECT_EQ(payload,
              aroundName({0, 0, 0, 7}, "A", {0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE, 0, 0, 0, 4, 'T', 'r', 'u', 'e'}));
    const auto read = decodeFields<DsAttributeAnswer>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 7u);
    EXPECT_EQ(read->attribute, (DsValue{"A", 1, -2, "True"}));
    expectOnlyTheWholePayloadIsRead<DsAttributeAnswer>(payload);
}

TEST(DsBulkAnswer, carriesEveryAttributeWithItsOwnStatus) {
    const auto payload = encodeFields(DsBulkAnswer{11, {{"A", 1, 0, "1"}, {"B", 2, 52, ""}}});

    const Bytes first = aroundName({0, 0, 0, 11, 0, 0, 0, 2}, "A", {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, '1'});
    EXPECT_EQ(payload, aroundName(first, "B", {0, 0, 0, 2, 0, 0, 0, 52, 0, 0, 0, 0}));
    const auto read = decodeFields<DsBulkAnswer>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 11u);
    EXPECT_THAT(read->attributes, ElementsAre(DsValue{"A", 1, 0, "1"}, DsValue{"B", 2, 52, ""}));
    expectOnlyTheWholePayloadIsRead<DsBulkAnswer>(payload);
}

TEST(DsBulkAnswer, refusesACountThatItsBytesCannotBearOut) {
    EXPECT_FALSE(decodeFields<DsBulkAnswer>(Bytes{0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(decodeFields<DsBulkAnswer>(Bytes{0, 0, 0, 1, 0, 0, 0, 1}));
}

TEST(DsBulkAnswer, carriesAValueOfAMegabyte) {
    const std::string large(1 << 20, 'v');
    const auto read = decodeFields<DsBulkAnswer>(encodeFields(DsBulkAnswer{1, {{"A", 1, 0, large}}}));

    ASSERT_TRUE(read);
    ASSERT_THAT(read->attributes, SizeIs(1));
    EXPECT_EQ(read->attributes[0].value, large);
}

TEST(DsStatusAnswer, carriesIdAndStatus) {
    const auto payload = encodeFields(DsStatusAnswer{12, -1});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 12, 0xFF, 0xFF, 0xFF, 0xFF));
    const auto read = decodeFields<DsStatusAnswer>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id, 12u);
    EXPECT_EQ(read->status, -1);
    expectOnlyTheWholePayloadIsRead<DsStatusAnswer>(payload);
}
