// What goes on while lives come and go: the switch's attributes and event log, the mail servers, time and chance.
//
// Plain data. A life ends with its world written down, and the next one begins with it.
#pragma once

#include "box/Network.h"
#include "box/StateFields.h"
#include "box/Timeline.h"
#include "box/Times.h"
#include "switchd/store/Attribute.h"
#include "switchd/store/LogEntry.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace box {

// What an operator enters of a profile.
struct ProfileSettings {
    std::string name;
    std::string level;
    std::string format;
    std::string subject;
    std::vector<std::string> recipients;
    std::string maxSize = "2000000";
};

struct World {
    // The factory's attributes, no mail servers, and chance from this number alone.
    explicit World(std::uint64_t seed);

    // Replaces the attribute of that name or adds it.
    void set(const std::string& key, const std::string& value);
    // The attributes of the profile at that place; how many there are is another one.
    void setProfile(unsigned index, const ProfileSettings& profile);

    // What goes from life to life.
    static void fields(auto& io, auto& world);

    Time now = 0;
    std::int64_t calendar = kFirstSecond;  // when it begins; no life changes it
    std::uint64_t chance;                  // of the lives: whose turn it is, where they end
    std::uint64_t networkChance;           // of the mail servers
    std::uint32_t lives = 0;               // begun so far
    std::uint32_t troubles = 0;            // of the lives that have ended: replies that did not come as they should
    std::uint32_t failedCalls = 0;         // of the lives that have ended
    std::uint32_t failedAllocations = 0;   // the same
    std::uint32_t kills = 0;               // lives that were killed
    std::uint64_t calls = 0;               // made so far by the lives
    std::uint64_t mails = 0;               // taken by the servers
    std::uint64_t entries = 0;             // written to the event log
    Timeline timeline;
    std::vector<Attribute> attributes;
    std::vector<LogEntry> log;
    std::vector<MailServer> servers;
};

void World::fields(auto& io, auto& world) {
    io(world.now, world.chance, world.networkChance, world.calls, world.mails, world.entries);
    Timeline::fields(io, world.timeline);
    io(world.lives, world.troubles, world.failedCalls, world.failedAllocations, world.kills);
    items(io, world.attributes, [](auto& each, auto& attribute) {
        each.text32(attribute.key);
        each(attribute.type);
        each.text32(attribute.value);
    });
    items(io, world.log, [](auto& each, auto& entry) {
        each(entry.seconds, entry.microseconds, entry.level, entry.number, entry.flags);
        each.text32(entry.component);
        each.text32(entry.text);
    });
    items(io, world.servers, FIELDS_OF<MailServer>);
}

}  // namespace box
