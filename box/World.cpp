#include "box/World.h"

#include "dsClient.h"
#include "switchd/services/FactoryAttributes.h"

#include <algorithm>

namespace box {

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

}  // namespace box
