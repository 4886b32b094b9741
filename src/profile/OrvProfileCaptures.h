// How a profile's scheduled capture is read: the types, then the attributes of each capture on a schedule.
//
// In traces it goes by the profile's name, OrvCHProfile. Main thread only.
#pragma once

#include "dsClient.h"
#include "profile/OrvCHProfile.h"

#include <cstddef>
#include <cstdint>
#include <span>

// Whether an answer is taken further, entry by entry.
enum class OrvReading { kGoesOn, kStops };

class OrvProfileCaptures {
public:
    // Both must outlive this object.
    OrvProfileCaptures(OrvCHProfile& profile, dsClient& store) : profile_(profile), store_(store) {}

    // The profile is read anew.
    void restart();
    // Asks for the types; nothing is sent when there is nothing to ask for. 0, or -1 when that could not be sent.
    [[nodiscard]] int readCaptureTypes();
    // The answers. -1 when one holds nothing or a follow-up read could not be sent.
    [[nodiscard]] int processCaptureTypesBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    [[nodiscard]] int processCaptureAttrsBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    // Asks for the attributes of one capture, when the profile has one on a schedule.
    [[nodiscard]] int readCaptureAttrs(std::uint32_t capture);

    // The types have been asked for.
    bool requested() const { return requested_; }
    // The types have been taken and every attribute read they caused is answered. Before that the next profile must not
    // be read: the answer would reach that one.
    bool complete() const { return typesTaken_ && attrsOutstanding_ == 0; }

private:
    OrvReading takeCaptureType(const DsEntry& entry, std::uint32_t capture);
    void takeCaptureAttr(const DsEntry& entry, std::size_t position);

    OrvCHProfile& profile_;
    dsClient& store_;
    bool requested_ = false;
    bool typesTaken_ = false;
    std::uint32_t attrsOutstanding_ = 0;
};
