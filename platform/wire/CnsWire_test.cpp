#include "platform/wire/CnsWire.h"

#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

TEST(CnsRegister, carriesKindOptionsAndName) {
    const auto payload = encodeFields(CnsRegister{1, 2, "OrvApp"});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 1, 0, 0, 0, 2, 0, 6, 'O', 'r', 'v', 'A', 'p', 'p'));
    const auto read = decodeFields<CnsRegister>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->kind, 1);
    EXPECT_EQ(read->options, 2);
    EXPECT_EQ(read->name, "OrvApp");
    expectOnlyTheWholePayloadIsRead<CnsRegister>(payload);
}

TEST(CnsUnregister, carriesTheName) {
    const auto payload = encodeFields(CnsUnregister{"SM"});

    EXPECT_THAT(payload, ElementsAre(0, 2, 'S', 'M'));
    const auto read = decodeFields<CnsUnregister>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->name, "SM");
    expectOnlyTheWholePayloadIsRead<CnsUnregister>(payload);
}

TEST(CnsLookup, carriesTagKindOptionsAndBothNames) {
    const auto payload = encodeFields(CnsLookup{0x01020304, 3, 128, "SM", "primary"});

    EXPECT_THAT(payload, ElementsAre(1, 2, 3, 4, 0, 0, 0, 3, 0, 0, 0, 128, 0, 2, 'S', 'M', 0, 7, 'p', 'r', 'i', 'm',
                                     'a', 'r', 'y'));
    const auto read = decodeFields<CnsLookup>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 0x01020304u);
    EXPECT_EQ(read->kind, 3);
    EXPECT_EQ(read->options, 128);
    EXPECT_EQ(read->name, "SM");
    EXPECT_EQ(read->instance, "primary");
    expectOnlyTheWholePayloadIsRead<CnsLookup>(payload);
}

TEST(CnsLookupResponse, carriesTagAndAddress) {
    const auto payload = encodeFields(CnsLookupResponse{1, {2, 3, 4}});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 4));
    const auto read = decodeFields<CnsLookupResponse>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, 1u);
    EXPECT_EQ(read->address, (Hsb_Address{2, 3, 4}));
    expectOnlyTheWholePayloadIsRead<CnsLookupResponse>(payload);
}
