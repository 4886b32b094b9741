#include "platform/wire/ManagementWire.h"

#include "testing/PayloadPieces.h"
#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

#include <array>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace

TEST(ManagementRequest, takesEightBytes) {
    const auto payload = encodeFields(ManagementRequest{0x01020304, 5});

    EXPECT_THAT(payload, ElementsAre(1, 2, 3, 4, 0, 0, 0, 5));
    const auto read = decodeFields<ManagementRequest>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->handle, 0x01020304u);
    EXPECT_EQ(read->spare, 5u);
    expectOnlyTheWholePayloadIsRead<ManagementRequest>(payload);
}

TEST(TestProfileRequest, takesFortyFourBytes) {
    const auto payload = encodeFields(TestProfileRequest{1, 2, "support"});

    EXPECT_EQ(payload, Bytes({0, 0, 0, 1, 0, 0, 0, 2}) + paddedText("support", 36));
    const auto read = decodeFields<TestProfileRequest>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->handle, 1u);
    EXPECT_EQ(read->spare, 2u);
    EXPECT_EQ(read->name, "support");
    expectOnlyTheWholePayloadIsRead<TestProfileRequest>(payload);
}

TEST(TestProfileRequest, cutsANameSoThatANulRemains) {
    EXPECT_EQ(decodeFields<TestProfileRequest>(encodeFields(TestProfileRequest{1, 2, std::string(40, 'n')}))->name,
              std::string(35, 'n'));
}

TEST(ManagementResponse, carriesHandleAndStatus) {
    const auto payload = encodeFields(ManagementResponse{7, 4});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 7, 0, 0, 0, 4));
    const auto read = decodeFields<ManagementResponse>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->handle, 7u);
    EXPECT_EQ(read->status, 4u);
    expectOnlyTheWholePayloadIsRead<ManagementResponse>(payload);
}

TEST(TestProfileResponse, carriesHandleStatusAndName) {
    const auto payload = encodeFields(TestProfileResponse{7, 6, "p"});

    EXPECT_EQ(payload, Bytes({0, 0, 0, 7, 0, 0, 0, 6}) + paddedText("p", 36));
    const auto read = decodeFields<TestProfileResponse>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->handle, 7u);
    EXPECT_EQ(read->status, 6u);
    EXPECT_EQ(read->name, "p");
    expectOnlyTheWholePayloadIsRead<TestProfileResponse>(payload);
}

TEST(TestProfileResults, carriesStatusAndName) {
    const auto payload = encodeFields(TestProfileResults{1, "p"});

    EXPECT_EQ(payload, Bytes({0, 0, 0, 1}) + paddedText("p", 36));
    const auto read = decodeFields<TestProfileResults>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->status, 1u);
    EXPECT_EQ(read->name, "p");
    expectOnlyTheWholePayloadIsRead<TestProfileResults>(payload);
}

TEST(InfoResponse, carriesTheBlockBehindTheStatus) {
    const std::array<std::uint8_t, 2> block{8, 9};
    const auto payload = encodeFields(InfoResponse{7, 0, block});

    EXPECT_THAT(payload, ElementsAre(0, 0, 0, 7, 0, 0, 0, 0, 8, 9));
    const auto read = decodeFields<InfoResponse>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->handle, 7u);
    EXPECT_EQ(read->status, 0u);
    EXPECT_THAT(read->info, ElementsAre(8, 9));
}

TEST(InfoResponse, mayHaveNoBlock) {
    const auto read = decodeFields<InfoResponse>(encodeFields(InfoResponse{7, 2, {}}));

    ASSERT_TRUE(read);
    EXPECT_EQ(read->status, 2u);
    EXPECT_THAT(read->info, IsEmpty());
    EXPECT_FALSE(decodeFields<InfoResponse>(Bytes(7)));
}

TEST(ProcessedInfo, readsEveryProfile) {
    const Bytes block = Bytes(8) + Bytes({0, 0, 0, 2})                                                          //
                        + paddedText("one", 36) + Bytes({0, 0, 1, 0}) + paddedText("NotApplicable", 64)         //
                        + paddedText("two", 36) + Bytes({0, 0, 0, 3}) + paddedText("Tue Nov 14 22:13:20", 64);  //

    const auto info = ProcessedInfo::decode(block);

    ASSERT_TRUE(info);
    EXPECT_THAT(info->profiles, ElementsAre(ProcessedInfo::Profile{"one", 256, "NotApplicable"},
                                            ProcessedInfo::Profile{"two", 3, "Tue Nov 14 22:13:20"}));
    expectOnlyTheWholePayloadIsRead<ProcessedInfo>(block);
}

TEST(ProcessedInfo, comesWithOneEmptyEntryWhenThereAreNoProfiles) {
    const auto info = ProcessedInfo::decode(Bytes(116));

    ASSERT_TRUE(info);
    EXPECT_THAT(info->profiles, IsEmpty());
    expectOnlyTheWholePayloadIsRead<ProcessedInfo>(Bytes(116));
}

TEST(ProcessedInfo, refusesACountThatItsBytesDoNotBearOut) {
    EXPECT_FALSE(ProcessedInfo::decode(Bytes(8) + Bytes({0xFF, 0xFF, 0xFF, 0xFF}) + Bytes(104)));
}

TEST(QueueInfo, readsTheLastThreeOfFiveWords) {
    const Bytes block = Bytes(8) + Bytes({0, 0, 4, 0, 0, 0, 0, 2, 0, 0, 0, 1});

    const auto info = QueueInfo::decode(block);

    ASSERT_TRUE(info);
    EXPECT_EQ(info->bytesInUse, 1024u);
    EXPECT_EQ(info->waiting, 2u);
    EXPECT_EQ(info->open, 1u);
    expectOnlyTheWholePayloadIsRead<QueueInfo>(block);
}
