#include "box/World.h"

#include "dsClient.h"
#include "platform/wire/Wire.h"
#include "switchd/services/FactoryAttributes.h"

#include <algorithm>

namespace box {

namespace {

void encodeServer(WireWriter& out, const MailServer& server) {
    const ServerManner& manner = server.manner;
    out.text32(server.name).text32(server.address).u16(server.port);
    out.u32(manner.reach).u32(manner.slowestReply).u32(manner.defers).u32(manner.refuses);
    out.u32(manner.breaksOff).u32(manner.mute).u32(manner.splits);
}

MailServer decodeServer(WireReader& in) {
    MailServer server;
    server.name = in.text32();
    server.address = in.text32();
    server.port = in.u16();
    ServerManner& manner = server.manner;
    for (std::uint32_t* value : {&manner.reach, &manner.slowestReply, &manner.defers, &manner.refuses,
                                 &manner.breaksOff, &manner.mute, &manner.splits}) {
        *value = in.u32();
    }
    return server;
}

void encodeEntry(WireWriter& out, const LogEntry& entry) {
    encode64(out, static_cast<std::uint64_t>(entry.seconds));
    out.i32(entry.microseconds).i32(entry.level).u32(entry.number).u32(entry.flags);
    out.text32(entry.component).text32(entry.text);
}

LogEntry decodeEntry(WireReader& in) {
    LogEntry entry;
    entry.seconds = static_cast<std::int64_t>(decode64(in));
    entry.microseconds = in.i32();
    entry.level = in.i32();
    entry.number = in.u32();
    entry.flags = in.u32();
    entry.component = in.text32();
    entry.text = in.text32();
    return entry;
}

template <typename Thing, typename Decode>
void decodeAll(WireReader& in, std::vector<Thing>& things, Decode&& decode) {
    things.clear();
    for (std::uint32_t count = in.u32(); count > 0 && in.ok(); --count) {
        things.push_back(decode(in));
    }
}

}  // namespace

void encode64(WireWriter& out, std::uint64_t value) {
    out.u32(static_cast<std::uint32_t>(value >> 32)).u32(static_cast<std::uint32_t>(value));
}

std::uint64_t decode64(WireReader& in) {
    const std::uint64_t high = in.u32();
    return high << 32 | in.u32();
}

World::World(std::uint64_t seed) : chance(Random(seed).next()), networkChance(Random(~seed).next()) {
    for (const FactoryAttribute& attribute : factoryAttributes()) {
        attributes.push_back({attribute.key, attribute.type, attribute.value});
    }
}

void World::set(const std::string& key, const std::string& value) {
    const auto known = std::ranges::find(attributes, key, &Attribute::key);
    if (known != attributes.end()) {
        known->value = value;
    } else {
        attributes.push_back({key, dsClient::TYPE_STRING, value});
    }
}

void World::setProfile(unsigned index, const ProfileSettings& profile) {
    const std::string number = std::to_string(index);
    const std::string key = "Global.CallhomeDB.Profile." + number + ".";
    set("Global.CallhomeDB.ProfileList." + number, profile.name);
    set(key + "Level", profile.level);
    set(key + "Format", profile.format);
    set(key + "MaxSize", profile.maxSize);
    set(key + "EmailSubject", profile.subject);
    set(key + "NumberOfEmails", std::to_string(profile.recipients.size()));
    for (std::size_t i = 0; i < profile.recipients.size(); ++i) {
        set(key + "EmailList." + std::to_string(i), profile.recipients[i]);
    }
}

void World::encode(WireWriter& out) const {
    for (const std::uint64_t value : {now, chance, networkChance, calls, mails, entries, timeline.digest()}) {
        encode64(out, value);
    }
    out.u32(lives)
        .u32(troubles)
        .u32(failedCalls)
        .u32(failedAllocations)
        .u32(kills)
        .u32(static_cast<std::uint32_t>(attributes.size()));
    for (const Attribute& attribute : attributes) {
        out.text32(attribute.key).u32(attribute.type).text32(attribute.value);
    }
    out.u32(static_cast<std::uint32_t>(log.size()));
    for (const LogEntry& entry : log) {
        encodeEntry(out, entry);
    }
    out.u32(static_cast<std::uint32_t>(servers.size()));
    for (const MailServer& server : servers) {
        encodeServer(out, server);
    }
}

void World::decode(WireReader& in) {
    for (std::uint64_t* value : {&now, &chance, &networkChance, &calls, &mails, &entries}) {
        *value = decode64(in);
    }
    timeline.restore(decode64(in));
    lives = in.u32();
    troubles = in.u32();
    failedCalls = in.u32();
    failedAllocations = in.u32();
    kills = in.u32();
    decodeAll(in, attributes, [](WireReader& from) {
        Attribute attribute;
        attribute.key = from.text32();
        attribute.type = from.u32();
        attribute.value = from.text32();
        return attribute;
    });
    decodeAll(in, log, decodeEntry);
    decodeAll(in, servers, decodeServer);
}

}  // namespace box
