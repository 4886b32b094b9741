#include "testing/profile/ProfileDriver.h"

#include "base/OrvText.h"

#include <gtest/gtest.h>

namespace {

using Bulk = int (OrvProfileReader::*)(std::span<const DsEntry>, std::span<const std::int32_t>);

int answer(OrvProfileReader& reader, Bulk process, const std::vector<DsEntry>& entries,
           std::vector<std::int32_t> statuses) {
    if (statuses.empty()) {
        statuses.resize(entries.size(), 0);
    }
    return (reader.*process)(entries, statuses);
}

}  // namespace

std::string ProfileDriver::key(const std::string& word) const {
    return word == "ProfileList" ? orvFormat("Global.CallhomeDB.ProfileList.%u", profile_.index())
                                 : orvFormat("Global.CallhomeDB.Profile.%u.", profile_.index()) + word;
}

int ProfileDriver::initial(const Values& values, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (const auto& [word, value] : values) {
        entries.push_back({key(word), dsClient::TYPE_STRING, value});
    }
    return answer(reader_, &OrvProfileReader::processInitialConfigBulk, entries, std::move(statuses));
}

int ProfileDriver::emails(const std::vector<std::string>& addresses, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        entries.push_back({key("EmailList." + std::to_string(i)), dsClient::TYPE_STRING, addresses[i]});
    }
    return answer(reader_, &OrvProfileReader::processEmailConfigBulk, entries, std::move(statuses));
}

int ProfileDriver::types(const std::vector<std::string>& types, std::vector<std::int32_t> statuses) {
    std::vector<DsEntry> entries;
    for (std::size_t i = 0; i < types.size(); ++i) {
        entries.push_back({key("Capture." + std::to_string(i) + ".Type"), dsClient::TYPE_STRING, types[i]});
    }
    return answer(reader_, &OrvProfileReader::processCaptureTypesBulk, entries, std::move(statuses));
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
    return answer(reader_, &OrvProfileReader::processCaptureAttrsBulk, entries, std::move(statuses));
}

void ProfileDriver::readWhole(const Values& initialValues, const std::vector<std::string>& addresses,
                              const std::vector<Capture>& captures) {
    EXPECT_EQ(reader_.readInitialConfig(), 0);
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
