// One configured audience: who gets mail from which level on, in which format, and which capture is due for it.
//
// The controller makes one object per entry of the profile list and asks it to read itself: an initial bulk read,
// then the e-mail list, the capture types and their attributes, each answered through the controller. When nothing
// is outstanding the profile writes a marker into the store; its status tells the controller to go on.
// Main thread only.
#pragma once

#include "catalogue/OrvLogEntry.h"
#include "dsClient.h"
#include "mesg/OrvCHEnvelope.h"
#include "mesg/OrvLevel.h"
#include "profile/CronCaptureItem.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class OrvCHProfile {
public:
    // The parts of a read that are still outstanding; bits of config().
    static constexpr std::uint32_t kInitialPart = 1;
    static constexpr std::uint32_t kEmailPart = 2;
    static constexpr std::uint32_t kCapturePart = 4;

    // The store must outlive the profile.
    OrvCHProfile(std::uint32_t index, dsClient& store);
    OrvCHProfile(const OrvCHProfile&) = delete;
    OrvCHProfile& operator=(const OrvCHProfile&) = delete;

    // Starts the read. 0, or -1 when the request could not be sent.
    [[nodiscard]] int readInitialConfig();
    // The follow-up reads; nothing is sent when there is nothing to ask for.
    [[nodiscard]] int readEmailConfig();
    [[nodiscard]] int readCaptureTypes();
    [[nodiscard]] int readCaptureAttrs(std::uint32_t capture);

    // The answers. -1 when a follow-up read could not be sent (the profile then stays incomplete), when an answer
    // about captures holds nothing, or when the marker could not be written.
    [[nodiscard]] int processInitialConfigBulk(std::span<const DsEntry> entries,
                                               std::span<const std::int32_t> statuses);
    [[nodiscard]] int processEmailConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    [[nodiscard]] int processCaptureTypesBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    [[nodiscard]] int processCaptureAttrsBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);

    // Each takes an attribute's text. 0, or -1 when the value is refused; the field then keeps its value, except
    // that a level name that is too long sets "None".
    [[nodiscard]] int setName(const std::string& name);
    [[nodiscard]] int setLevel(const std::string& levelName);
    [[nodiscard]] int setFormat(const std::string& format);
    [[nodiscard]] int setMaxSize(const std::string& bytes);  // held between 650 and 2000000
    [[nodiscard]] int setEmailSubject(const std::string& subject);
    [[nodiscard]] int setNumOfEmailEntries(const std::string& number);
    [[nodiscard]] int setCaptureEnable(const std::string& enable);
    [[nodiscard]] int setCaptureEntries(const std::string& number);
    [[nodiscard]] int addEmail(const std::string& address);
    [[nodiscard]] int clearEmailList();

    // An envelope for a message of this level, counted and timed; null when the profile does not want the message,
    // has nobody to send it to, or there is no memory for it. force overrides the level only.
    std::unique_ptr<OrvCHEnvelope> envelopeFor(std::int32_t level, bool force);

    const std::string& name() const { return name_; }
    std::int32_t level() const { return level_; }
    std::uint32_t maxSize() const { return maxSize_; }
    const std::vector<std::string>& emails() const { return emails_; }
    bool captureEnabled() const { return captureEnable_; }
    const CronCaptureItem* capture() const { return capture_.get(); }  // null when there is none
    std::uint32_t processedCount() const { return processedCount_; }
    const std::string& processedLast() const { return processedLast_; }
    std::uint32_t config() const { return config_; }

    // With the times of its capture as the schedule has them: of a copy of the item. Null when it is not scheduled.
    void dumpProfileInfo(const CronCaptureItem* scheduled = nullptr) const;

private:
    enum class Reading { kGoesOn, kStops };

    int bulkRead(std::uint32_t requestId, const std::vector<std::string>& keys, const char* caller,
                 const OrvLogEntry<>& failure);
    Reading takeInitialEntry(const DsEntry& entry);
    void takeBadInitialEntry(std::size_t position, const std::string& key);
    Reading takeCaptureType(const DsEntry& entry, std::uint32_t capture);
    void takeCaptureAttr(const DsEntry& entry, std::size_t position);
    int completePart(std::uint32_t part);
    int completeCapturesWhenRead();
    int writeMarkerData();
    std::string dumpCapture(const CronCaptureItem* scheduled) const;

    const std::uint32_t index_;
    dsClient& store_;

    std::string name_;
    std::int32_t level_ = kOrvLevelAlarm;
    std::string format_ = "FullText";
    std::uint32_t maxSize_ = 2000000;
    std::string emailSubject_;
    std::uint32_t numOfEmailEntries_ = 0;
    std::uint32_t processedCount_ = 0;
    std::string processedLast_ = "NotApplicable";
    bool captureEnable_ = false;
    std::uint32_t captureEntries_ = 0;
    std::uint32_t config_ = kInitialPart | kEmailPart | kCapturePart;
    std::vector<std::string> emails_;
    std::unique_ptr<CronCaptureItem> capture_;

    // Parts whose follow-up read has been sent.
    std::uint32_t requested_ = 0;
    // The capture part ends when the types have been taken and every attribute read they caused is answered.
    bool captureTypesTaken_ = false;
    std::uint32_t captureAttrsOutstanding_ = 0;
};
