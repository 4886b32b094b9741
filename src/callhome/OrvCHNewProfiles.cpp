#include "callhome/OrvCHNewProfiles.h"

#include "MessageCodes.h"
#include "base/OrvSteps.h"
#include "dbg/OrvEventLog.h"

#include <utility>

int OrvCHNewProfiles::make(std::int32_t count) {
    forget();
    std::vector<std::unique_ptr<OrvCHProfile>> profiles;
    orvPersistently([&] { profiles.reserve(static_cast<std::size_t>(count)); });
    for (std::int32_t index = 0; index < count; ++index) {
        profiles.push_back(
            orvPersistently([&] { return std::make_unique<OrvCHProfile>(static_cast<std::uint32_t>(index)); }));
    }
    profiles_ = std::move(profiles);
    return 0;
}

void OrvCHNewProfiles::forget() {
    reader_.reset();
    profiles_.clear();
    current_ = 0;
}

const OrvCHProfile* OrvCHNewProfiles::current() const {
    return current_ < profiles_.size() ? profiles_[current_].get() : nullptr;
}

int OrvCHNewProfiles::readCurrent() {
    return reader_.emplace(*profiles_[current_], store_).readInitialConfig();
}

int OrvCHNewProfiles::process(const DsBulkReply& reply) {
    if (!reader_) {
        orvLog(orv_log::kNoProfileRead, reply.id);
        return -1;
    }
    switch (reply.id) {
        case DsRequestId::PROFILE_INITIAL:
            return reader_->processInitialConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_EMAIL:
            return reader_->processEmailConfigBulk(reply.entries, reply.statuses);
        case DsRequestId::PROFILE_CAPTURE_TYPES:
            return reader_->processCaptureTypesBulk(reply.entries, reply.statuses);
        default:
            return reader_->processCaptureAttrsBulk(reply.entries, reply.statuses);
    }
}

std::vector<std::unique_ptr<OrvCHProfile>> OrvCHNewProfiles::take() {
    reader_.reset();
    current_ = 0;
    return std::exchange(profiles_, {});
}
