// A message, its envelopes, and where it comes from.
//
// Rules: docs/behaviour.md, "What becomes a message".
#pragma once

#include "box/model/Records.h"
#include "platform/include/Sw_Log_Type.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace model {

// What a recipient's first character says; any other one is part of the address.
constexpr char kDelivered = '!', kGivenUp = '#', kPutOff = '$', kPutOffAgain = '%', kUnmarked = '\0';

char markOf(const std::string& recipient);
void setMark(std::string& recipient, char mark);
std::string addressOf(const std::string& recipient);

// One profile's share in a message.
struct Envelope {
    bool done = false;
    std::uint32_t maxSize = 0;
    std::string format, profile, subject;
    std::vector<std::string> recipients;
};

struct Message {
    std::string time, id, text;
    std::uint32_t duplicates = 0;
    std::string lastDuplicate;  // when it came
    unsigned level = 5;
    std::string blade, asic, port, fabric, application, component;
    std::vector<Envelope> envelopes;
    std::string testProfile;  // not empty: a test, for this profile alone

    // What the queue charges for its file: taken when it is first asked for, whatever changes afterwards.
    std::uint32_t size() const;
    // Two messages are the same event when these are equal; number and time do not count.
    std::string key() const;

private:
    mutable std::optional<std::uint32_t> size_;
};

const char* levelName(unsigned level);
unsigned levelNumber(const std::string& name);  // unknown: 5

Message ofEvent(const Sw_Log_Type& record);
Message ofPowerUp(const Now& now);
Message ofState(const Now& now, const std::string& state);
Message ofTest(const Now& now, const std::string& profile);

// The message's part of its file, and back. reading: none when something that a message cannot do without is missing.
std::string fileOf(const Message& message);
std::optional<Message> messageIn(const std::string& file);

}  // namespace model
