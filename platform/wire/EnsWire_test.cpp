#include "platform/wire/EnsWire.h"

#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

#include <array>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(EnsEventData, carriesCategoryNumberAndAllTheData) {
    const std::array<std::uint8_t, 3> data{7, 8, 9};
    const auto payload = encodeFields(EnsEventData{66, 3, data});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 66, 0, 0, 0, 3, 7, 8, 9));
    const auto read = decodeFields<EnsEventData>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->category, 66u);
    EXPECT_EQ(read->number, 3u);
    EXPECT_THAT(read->data, ElementsAre(7, 8, 9));
}

TEST(EnsEventData, mayHaveNoData) {
    const auto payload = encodeFields(EnsEventData{1, 0, {}});
    const auto read = decodeFields<EnsEventData>(payload);

    ASSERT_TRUE(read);
    EXPECT_THAT(read->data, IsEmpty());
}

TEST(EnsEventData, needsItsHeader) {
    const std::array<std::uint8_t, 7> payload{};

    EXPECT_FALSE(decodeFields<EnsEventData>(payload));
    EXPECT_FALSE(decodeFields<EnsEventData>({}));
}

TEST(EnsEventData, isReadWithoutCopyingTheData) {
    const std::array<std::uint8_t, 1> data{7};
    const auto payload = encodeFields(EnsEventData{1, 0, data});

    EXPECT_EQ(decodeFields<EnsEventData>(payload)->data.data(), payload.data() + 8);
}

TEST(EnsRequest, carriesCategoryAndEvent) {
    const auto payload = encodeFields(EnsRequest{2, 56});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 2, 0, 0, 0, 56));
    const auto read = decodeFields<EnsRequest>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->category, 2u);
    EXPECT_EQ(read->event, 56u);
    expectOnlyTheWholePayloadIsRead<EnsRequest>(payload);
}
