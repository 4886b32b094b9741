#include "box/model/Model.h"

#include <algorithm>
#include <utility>

namespace model {

Model::Model(Attributes attributes, Flash flash) : flash_(std::move(flash)) {
    outside_.attributes = std::move(attributes);
}

// --- Lives ---

void Model::start(const Now& now) {
    outside_.now = now;
    life_ = std::make_unique<Life>(outside_, flash_);
    life_->incoming.push_back(ofPowerUp(now));
    readConfiguration(true);
}

void Model::kill() {
    life_.reset();
}

void Model::stop(const Now& now) {
    outside_.now = now;
    life_->stopping = true;
    life_->sender.stop();
    afterStep();
}

void Model::afterStep() {
    life_->sender.settle();
    if (life_->stopping && !life_->sender.sending()) {
        processIncoming();
        life_.reset();
    }
}

// --- Configuration ---

// All requests are made before the first answer comes; answers come in the order of the requests.
void Model::readConfiguration(bool starting) {
    if (life_->updating) {
        return;
    }
    unsigned profiles = 0;
    announceServers(outside_);
    announceIdentity(outside_);
    announceQuotas(outside_);
    life_->queue.flushDuplicates();
    readSwitches();
    life_->sender.readServers();
    readIdentity(outside_, life_->identity);
    noteAddress();
    life_->queue.setQuotas(readQuotas(outside_));
    readNumberOfProfiles(profiles);
    if (profiles > 0) {
        announceProfile(outside_);
    } else if (!life_->updating) {
        validate();
    }
    if (starting) {
        readState();
    }
    if (profiles > 0) {
        readProfiles(profiles);
        validate();
    }
}

void Model::readSwitches() {
    const std::tuple<const char*, const char*, bool*> switches[] = {
        {"Default.Mfg.AllowCallhome", "DS_GET_CALLHOME_FEATURE_FLAG", &life_->conditions.feature},
        {"Global.Services.CallhomeEnable", "DS_GET_CALLHOME_SERVICES_COMPONENT", &life_->conditions.service}};
    for (const auto& [key, what, condition] : switches) {
        std::string value;
        const bool found = readSingle(outside_, key, what, value);
        *condition = found && value == "True";
        if (!*condition && (found || condition == &life_->conditions.feature)) {
            life_->incoming.clear();
        }
    }
}

void Model::readNumberOfProfiles(unsigned& profiles) {
    std::string value;
    life_->updating =
        !readSingle(outside_, "Global.CallhomeDB.NumberOfProfiles", "DS_GET_CALLHOME_NUM_OF_PROFILES", value);
    profiles = unsigned(std::max(toSigned(value), 0));
    life_->conditions.profiles = profiles > 0;
    life_->ready = profiles == 0;
    if (profiles == 0 && !life_->updating) {
        life_->profiles.clear();
    }
}

void Model::readProfiles(unsigned count) {
    std::vector<Profile> profiles;
    for (unsigned index = 0; index < count; ++index) {
        if (index > 0) {
            announceProfile(outside_);
        }
        profiles.push_back(readProfile(outside_, index));
        outside_.write("Oper.Callhome.MarkerData", "OK");
    }
    life_->profiles = std::move(profiles);
    life_->ready = true;
}

void Model::readState() {
    std::string state;
    if (readSingle(outside_, "Config.Switch.AdminState", "DS_GET_CALLHOME_SWITCH_OPER_STATE", state)) {
        newState(state);
    }
}

void Model::validate() {
    Conditions& conditions = life_->conditions;
    const Servers& servers = life_->sender.servers();
    conditions.sender = life_->identity.hasSender();
    conditions.server = servers.usable();
    if (conditions.service && conditions.server && !conditions.sender) {
        outside_.tell(
            2, 0x8b00000c,
            "FromEmailAddress has not been configured in the CallHome setup.  Messages cannot be sent to the SMTP "
            "server until this condition is corrected.");
    }
    if (servers.both() && servers.primary.address == servers.secondary.address) {
        outside_.tell(3, 0x8b00000d,
                      "SMTP servers in the CallHome setup are using duplicate IP address and port number pairs.");
    }
}

void Model::noteAddress() {
    if (life_->identity.hasAddress()) {
        life_->sender.addressKnown();
    }
}

// --- Events ---

void Model::tick(const Now& now) {
    outside_.now = now;
    processIncoming();
    life_->queue.second();
    life_->sender.second();
    afterStep();
}

void Model::event(const Now& now, const Sw_Log_Type& record) {
    outside_.now = now;
    const bool kept = record.kind == 0 || record.kind == 2 || record.kind == 3;
    const bool own = record.flags == 4096;
    if (kept && !own && life_->conditions.all()) {
        take(ofEvent(record));
    }
}

void Model::state(const Now& now, const std::string& state) {
    outside_.now = now;
    newState(state);
}

void Model::newState(const std::string& state) {
    if (state == life_->state) {
        return;
    }
    life_->state = state;
    if (life_->conditions.feature && life_->conditions.service) {
        take(ofState(outside_.now, state));
    }
}

void Model::hostname(const Now& now, const std::string& name) {
    outside_.now = now;
    life_->identity.hostname = hostnameOf(name);
}

void Model::address(const Now& now, const std::string& ipv4, const std::string& ipv6) {
    outside_.now = now;
    life_->identity.ipv4 = ipv4.empty() ? life_->identity.ipv4 : ipv4;
    life_->identity.ipv6 = ipv6.empty() ? life_->identity.ipv6 : ipv6;
    noteAddress();
}

void Model::take(Message message) {
    life_->incoming.push_back(std::move(message));
    processIncoming();
}

// --- Matching ---

void Model::processIncoming() {
    while (life_->ready && !life_->incoming.empty()) {
        Message message = std::move(life_->incoming.front());
        life_->incoming.pop_front();
        const std::string test = message.testProfile;
        if (!test.empty() && refuseTest(test)) {
            return;  // what else waits does so until the next time
        }
        for (Profile& profile : life_->profiles) {
            if (test.empty() ? message.level >= profile.level : profile.name == test) {
                addEnvelope(message, profile);
                if (!test.empty()) {
                    break;
                }
            }
        }
        if (!message.envelopes.empty()) {
            life_->queue.add(std::move(message));
        }
    }
}

void Model::addEnvelope(Message& message, Profile& profile) {
    if (profile.addresses.empty()) {
        return;
    }
    message.envelopes.push_back({.maxSize = profile.maxSize,
                                 .format = profile.format,
                                 .profile = profile.name,
                                 .subject = profile.subject,
                                 .recipients = profile.addresses});
    ++profile.processed;
    profile.lastProcessed = plainTime(outside_.now);
}

bool Model::refuseTest(const std::string& profile) {
    const Conditions& conditions = life_->conditions;
    const std::pair<bool, const char*> reasons[] = {
        {conditions.feature && conditions.service, "the CallHome service is disabled"},
        {conditions.server, "the SMTP addresses are defaults or disabled in the CallHome setup"},
        {conditions.sender, "the FromEmailAddress has not been configured in the CallHome setup"},
        {!life_->updating, "the CallHome service is updating configuration"}};
    std::uint32_t number = 0x8b000005;
    for (const auto& [fine, reason] : reasons) {
        if (!fine) {
            outside_.tell(2, number, "Unable to test profile " + profile + " because " + reason);
            outside_.respond(107, word(1) + slot(profile, 36));
            return true;
        }
        ++number;
    }
    return false;
}

// --- Management requests ---

void Model::profileChange(const Now& now, std::uint32_t handle) {
    outside_.now = now;
    outside_.respond(101, word(handle) + word(0));
    readConfiguration(false);
}

void Model::testProfile(const Now& now, std::uint32_t handle, const std::string& name) {
    outside_.now = now;
    take(ofTest(now, name));
    outside_.respond(102, word(handle) + word(0) + slot(name, 36));
}

void Model::clearQueue(const Now& now, std::uint32_t handle) {
    outside_.now = now;
    life_->queue.clear();
    outside_.respond(103, word(handle) + word(0));
}

void Model::processedInfo(const Now& now, std::uint32_t handle) {
    outside_.now = now;
    if (life_->updating) {
        outside_.tell(
            2, 0x8b00000a,
            "Unable to provide profile processing information, the CallHome service is updating configuration");
        return outside_.respond(104, word(handle) + word(2));
    }
    std::string block = std::string(8, '\0') + word(std::uint32_t(life_->profiles.size()));
    for (const Profile& profile : life_->profiles) {
        block += slot(profile.name, 36) + word(profile.processed) + slot(profile.lastProcessed, 64);
    }
    block.resize(std::max<std::size_t>(block.size(), 12 + 104), '\0');
    outside_.respond(104, word(handle) + word(0) + block);
}

void Model::changeOver(const Now& now, std::uint32_t handle) {
    outside_.now = now;
    outside_.respond(105, word(handle) + word(life_->sender.changeOver() ? 0 : 7));
}

void Model::queueInfo(const Now& now, std::uint32_t handle) {
    outside_.now = now;
    const Queue& queue = life_->queue;
    outside_.respond(106, word(handle) + word(0) + std::string(8, '\0') + word(std::uint32_t(queue.bytesInUse())) +
                              word(std::uint32_t(queue.waiting())) + word(std::uint32_t(queue.opened())));
}

// --- The mail server ---

WireStep Model::wire() const {
    Dialogue* dialogue = life_ ? life_->sender.dialogue() : nullptr;
    return dialogue == nullptr ? WireStep{} : dialogue->step();
}

void Model::connected(const Now& now) {
    outside_.now = now;
    life_->sender.dialogue()->connected();
    afterStep();
}

void Model::connectFailed(const Now& now, const std::string& reason, const std::string& description) {
    outside_.now = now;
    life_->sender.dialogue()->connectFailed(reason, description);
    afterStep();
}

void Model::replied(const Now& now, const std::string& reply) {
    outside_.now = now;
    life_->sender.dialogue()->replied(reply);
    afterStep();
}

void Model::closed(const Now& now, const std::string& description) {
    outside_.now = now;
    life_->sender.dialogue()->closed(description);
    afterStep();
}

void Model::silent(const Now& now) {
    outside_.now = now;
    life_->sender.dialogue()->silent();
    afterStep();
}

}  // namespace model
