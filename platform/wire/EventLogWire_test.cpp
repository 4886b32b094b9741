#include "platform/wire/EventLogWire.h"

#include "platform/wire/CmonWire.h"
#include "testing/platform/payloads.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

TEST(EventLogEntry, carriesWhatTheCallerOfTheEventLogGave) {
    const EventLogEntry entry{2, 0x8B000005, -1, 1, 2, 3, 4096, "OrvApp", "text"};
    const auto payload = encodeFields(entry);

    EXPECT_THAT(payload,
                ElementsAre(0, 0, 0, 2, 0x8B, 0, 0, 5, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0,
                            0x10, 0, 0, 6, 'O', 'r', 'v', 'A', 'p', 'p', 0, 0, 0, 4, 't', 'e', 'x', 't'));
    const auto read = decodeFields<EventLogEntry>(payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, entry);
    expectOnlyTheWholePayloadIsRead<EventLogEntry>(payload);
}

TEST(CmonConfReadAck, carriesTheStatus) {
    const auto payload = encodeFields(CmonConfReadAck{-2});

    EXPECT_THAT(payload, ElementsAre(0xFF, 0xFF, 0xFF, 0xFE));
    ASSERT_TRUE(decodeFields<CmonConfReadAck>(payload));
    EXPECT_EQ(decodeFields<CmonConfReadAck>(payload)->status, -2);
    expectOnlyTheWholePayloadIsRead<CmonConfReadAck>(payload);
}
