// How a profile is read from the attribute store: an initial bulk read, then the e-mail list and the captures, each
// answered through the controller. When nothing is outstanding a marker is written into the store; its status tells the
// controller to go on.
//
// In traces it goes by the profile's name, OrvCHProfile. Main thread only.
#pragma once

#include "dsClient.h"
#include "profile/OrvCHProfile.h"
#include "profile/OrvProfileCaptures.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

class OrvProfileReader {
public:
    // Both must outlive the reader.
    OrvProfileReader(OrvCHProfile& profile, dsClient& store)
        : profile_(profile), store_(store), captures_(profile, store) {}

    // Starts the read. 0, or -1 when the request could not be sent.
    [[nodiscard]] int readInitialConfig();

    // The answers. -1 when a follow-up read could not be sent (the profile then stays incomplete), when an answer
    // about captures holds nothing, or when the marker could not be written.
    [[nodiscard]] int processInitialConfigBulk(std::span<const DsEntry> entries,
                                               std::span<const std::int32_t> statuses);
    [[nodiscard]] int processEmailConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    [[nodiscard]] int processCaptureTypesBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    [[nodiscard]] int processCaptureAttrsBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);

private:
    struct InitialAttribute;
    static const InitialAttribute kInitialAttributes[];

    int readEmailConfig();
    int readCaptureTypes() { return captures_.readCaptureTypes(); }
    OrvReading takeInitialEntry(const DsEntry& entry);
    void takeBadInitialEntry(std::size_t position, const std::string& key);
    int completePart(std::uint32_t part);
    int completeCapturesWhenRead(int result);

    OrvCHProfile& profile_;
    dsClient& store_;
    OrvProfileCaptures captures_;
    bool emailsRequested_ = false;
};
