// One configured audience: who gets mail from which level on, in which format, and which capture is due for it.
//
// The controller makes one object per entry of the profile list, and OrvProfileReader fills it. Main thread only.
#pragma once

#include "mesg/OrvCHEnvelope.h"
#include "mesg/OrvMesgNumbers.h"
#include "profile/CronCaptureItem.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class OrvCHProfile {
public:
    // The parts of a read that are still to be read; bits of config().
    static constexpr std::uint32_t kInitialPart = 1;
    static constexpr std::uint32_t kEmailPart = 2;
    static constexpr std::uint32_t kCapturePart = 4;

    explicit OrvCHProfile(std::uint32_t index) : index_(index) {}
    OrvCHProfile(const OrvCHProfile&) = delete;
    OrvCHProfile& operator=(const OrvCHProfile&) = delete;

    // What its reader has still to read: all of it, or without these parts.
    void nothingRead() { config_ = kInitialPart | kEmailPart | kCapturePart; }
    void partRead(std::uint32_t parts) { config_ &= ~parts; }

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

    // Makes its capture item, which bears the profile's name, unless it has one. Throws when there is no memory for it.
    void provideCapture();

    std::uint32_t index() const { return index_; }
    const std::string& name() const { return name_; }
    std::int32_t level() const { return level_; }
    std::uint32_t maxSize() const { return maxSize_; }
    const std::vector<std::string>& emails() const { return emails_; }
    bool captureEnabled() const { return captureEnable_; }
    std::uint32_t numOfEmailEntries() const { return numOfEmailEntries_; }
    std::uint32_t captureEntries() const { return captureEntries_; }
    const CronCaptureItem* capture() const { return capture_.get(); }  // null when there is none
    CronCaptureItem* capture() { return capture_.get(); }
    std::uint32_t processedCount() const { return processedCount_; }
    const std::string& processedLast() const { return processedLast_; }
    std::uint32_t config() const { return config_; }

    // With the times of its capture as the schedule has them: of a copy of the item. Null when it is not scheduled.
    void dumpProfileInfo(const CronCaptureItem* scheduled = nullptr) const;

private:
    std::string dumpCapture(const CronCaptureItem* scheduled) const;

    const std::uint32_t index_;

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
};
