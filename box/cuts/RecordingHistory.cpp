#include "box/cuts/RecordingHistory.h"

#include "box/search/Options.h"
#include "platform/wire/Fields.h"

namespace box {

namespace {

RandomHistory::Settings settingsFor(std::uint64_t seed, Time length) {
    RandomHistory::Settings settings;
    settings.seed = seed;
    settings.eventsPerDay = 14400;
    settings.faults = kServerFaults | kKills | kRestarts | kConfigChanges | kRequests;
    settings.until = length;
    return settings;
}

// Entries' files of one sector to some.
void lengthenEntries(World& world, std::uint64_t seed) {
    const std::string longer(static_cast<std::size_t>(seed % 8 * 30), 's');
    world.set("Global.CallhomeDB.Profile.0.EmailSubject", "Switch Operators" + longer);
    world.set("Global.CallhomeDB.Profile.1.EmailSubject", "Switch Service" + longer + longer);
}

}  // namespace

RecordingHistory::RecordingHistory(std::uint64_t seed, Time length, World& world, const std::string& root)
    : RandomHistory(settingsFor(seed, length), world), record_(root) {
    lengthenEntries(world, seed);
}

void RecordingHistory::encode(FieldWriter& out) const {
    RandomHistory::encode(out);
    FileRecord::fields(out, record_);
}

void RecordingHistory::decode(FieldReader& in) {
    RandomHistory::decode(in);
    FileRecord::fields(in, record_);
}

}  // namespace box
