#include "platform/wire/EnsWire.h"

#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

#include <array>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(EnsEventData, carriesCategoryNumberAndAllTheData) {
    const std::array<std::uint8_t, 3> data{7, 8, 9};
    const auto payload = EnsEventData{66, 3, data}.encode();

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 66, 0, 0, 0, 3, 7, 8, 9));
    const auto read = EnsEventData::decode(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->category, 66u);
    EXPECT_EQ(read->number, 3u);
    EXPECT_THAT(read->data, ElementsAre(7, 8, 9));
}

TEST(EnsEventData, mayHaveNoData) {
    const auto payload = EnsEventData{1, 0, {}}.encode();
    const auto read = EnsEventData::decode(payload);

    ASSERT_TRUE(read);
    EXPECT_THAT(read->data, IsEmpty());
}

TEST(EnsEventData, needsItsHeader) {
    const std::array<std::uint8_t, 7> payload{};

    EXPECT_FALSE(EnsEventData::decode(payload));
    EXPECT_FALSE(EnsEventData::decode({}));
}

TEST(EnsEventData, isReadWithoutCopyingTheData) {
    const std::array<std::uint8_t, 1> data{7};
    const auto payload = EnsEventData{1, 0, data}.encode();

    EXPECT_EQ(EnsEventData::decode(payload)->data.data(), payload.data() + 8);
}

TEST(EnsRequest, carriesCategoryAndEvent) {
    const auto payload = EnsRequest{2, 56}.encode();

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 2, 0, 0, 0, 56));
    const auto read = EnsRequest::decode(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->category, 2u);
    EXPECT_EQ(read->event, 56u);
    expectOnlyTheWholePayloadIsRead<EnsRequest>(payload);
}
