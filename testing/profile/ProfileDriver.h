// Test support: gives a profile the answers it waits for, as the attribute store would.
#pragma once

#include "profile/OrvProfileReader.h"
#include "testing/profile/RecordingSwitch.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// What a profile sends when it has been read.
inline constexpr char kMarker[] = "set 10 1 1 Oper.Callhome.MarkerData=OK";
// What the store says of a key that it cannot give.
inline constexpr std::int32_t kBadStatus = static_cast<std::int32_t>(0x80000021);

class ProfileDriver {
public:
    using Values = std::vector<std::pair<std::string, std::string>>;  // word of the key, value
    struct Capture {
        std::string day;
        std::string time;
        std::string interval;
    };

    ProfileDriver(RecordingSwitch& recording, OrvCHProfile& profile, OrvProfileReader& reader)
        : recording_(recording), profile_(profile), reader_(reader) {}

    // Each gives one answer; what is not named has no entry. Statuses are all 0 unless given.
    int initial(const Values& values, std::vector<std::int32_t> statuses = {});
    int emails(const std::vector<std::string>& addresses, std::vector<std::int32_t> statuses = {});
    int types(const std::vector<std::string>& types, std::vector<std::int32_t> statuses = {});
    int attrs(std::uint32_t capture, const Capture& values, std::vector<std::int32_t> statuses = {});
    // The keys as they stand.
    int rawAttrs(const Values& values, std::vector<std::int32_t> statuses = {});

    // A read from its start to its marker.
    void readWhole(const Values& initialValues, const std::vector<std::string>& addresses,
                   const std::vector<Capture>& captures);

private:
    std::string key(const std::string& word) const;

    RecordingSwitch& recording_;
    OrvCHProfile& profile_;
    OrvProfileReader& reader_;
};
