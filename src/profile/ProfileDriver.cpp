#include "profile/ProfileDriver.h"

#include "base/OrvText.h"

#include <gtest/gtest.h>

namespace {

using Bulk = int (OrvCHProfile::*)(std::span<const DsEntry>, std::span<const std::int32_t>);

int answer(OrvCHProfile& profile, Bulk process, const std::vector<DsEntry>& entries,
           std::vector<std::int32_t> statuses) {
    if (statuses.empty()) {
        statuses.resize(entries.size(), 0);
    }
    return (profile.*process)(entries, statuses);
}

}  // namespace

std::string ProfileDriver::key(const std::string& word) const {
    return word == "ProfileList" ? orvFormat("Global.CallhomeDB.ProfileList.%u", index_)
                                 : orvFormat("Global.CallhomeDB.Profile.%u.", index_) + word;
}

int ProfileDriver::initial(const Values& values, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (const auto& [word, value] : values) {
        entries.push_back({key(word), dsClient::TYPE_STRING, value});
    }
    return answer(profile_, &OrvCHProfile::processInitialConfigBulk, entries, std::move(statuses));
}

int ProfileDriver::emails(const std::vector<std::string>& addresses, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        entries.push_back({key("EmailList." + std::to_string(i)), dsClient::TYPE_STRING, addresses[i]});
    }
    return answer(profile_, &OrvCHProfile::processEmailConfigBulk, entries, std::move(statuses));
}

int ProfileDriver::types(const std::vector<std::string>& types, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (std::size_t i = 0; i < types.size(); ++i) {
        entries.push_back({key("Capture." + std::to_string(i) + ".Type"), dsClient::TYPE_STRING, types[i]});
    }
    return answer(profile_, &OrvCHProfile::processCaptureTypesBulk, entries, std::move(statuses));
}

int ProfileDriver::attrs(std::uint32_t capture, const Capture& values, std::vector<std::int32_t> statuses) {
    const std::string prefix = key("Capture." + std::to_string(capture) + ".");
    return rawAttrs({{prefix + "DayOfWeek", values.day},
                     {prefix + "TimeOfDay", values.time},
                     {prefix + "Interval", values.interval}},
                    std::move(statuses));
}

int ProfileDriver::rawAttrs(const Values& values, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (const auto& [name, value] : values) {
        entries.push_back({name, dsClient::TYPE_STRING, value});
    }
    return answer(profile_, &OrvCHProfile::processCaptureAttrsBulk, entries, std::move(statuses));
}

void ProfileDriver::readWhole(const Values& initialValues, const std::vector<std::string>& addresses,
                              const std::vector<Capture>& captures) {
    EXPECT_EQ(profile_.readInitialConfig(), 0);
    EXPECT_EQ(initial(initialValues), 0);
    if (!addresses.empty()) {
        EXPECT_EQ(emails(addresses), 0);
    }
    if (!captures.empty()) {
        EXPECT_EQ(types(std::vector<std::string>(captures.size(), "Cron")), 0);
        for (std::size_t i = 0; i < captures.size(); ++i) {
            EXPECT_EQ(attrs(static_cast<std::uint32_t>(i), captures[i]), 0);
        }
    }
    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_EQ(recording_.takeSent().back(), "set 10 1 1 Oper.Callhome.MarkerData=OK");
}
