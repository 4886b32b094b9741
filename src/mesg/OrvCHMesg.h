// One CallHome message: what happened, and one envelope per profile that is to receive it.
//
// Owned by one thread at a time. While the send thread works on a message of the queue, both sides take lock()
// for what they share: delivery marks and done flags, the duplicate fields, and reading the texts (compose, save).
// The lock is never held across network calls.
#pragma once

#include "mesg/CronCaptureData.h"
#include "mesg/LogEventData.h"
#include "mesg/OrvCHEnvelope.h"
#include "base/OrvMutex.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct Sw_Log_Type;

class OrvCHMesg {
public:
    enum Kind : std::int32_t { kNoType = 0, kLogEvent = 1, kCronCapture = 2 };

    OrvCHMesg();
    explicit OrvCHMesg(std::int32_t type);
    OrvCHMesg(const OrvCHMesg& other);
    OrvCHMesg& operator=(const OrvCHMesg& other);
    ~OrvCHMesg();

    // Builders; 0, or -1 when the type data cannot be allocated.
    [[nodiscard]] int buildSwitchPowerUpData();
    [[nodiscard]] int buildTestData(const std::string& profile);
    [[nodiscard]] int buildSwitchStateData(const std::string& state);
    int extractData(const Sw_Log_Type& record);
    [[nodiscard]] int createMesgByType();

    int addEnvelope(std::unique_ptr<OrvCHEnvelope> envelope);
    [[nodiscard]] int copyEnvelope(const OrvCHEnvelope& envelope);

    // The estimate of the file's size; the message part is added once, at the first call.
    std::int32_t bytesToSave();
    std::string duplicateKey() const;
    std::string nextAttachmentFile();
    // Recipients that were not delivered; clears every mark and every done flag.
    std::uint32_t resetRecipients();

    [[nodiscard]] int save();
    [[nodiscard]] int restore();
    void probe() const;

    Mt::Mutex& lock() const { return lock_; }

    std::string FileName;
    std::string Time;
    std::string ID;
    std::string Text;
    std::int32_t DuplicateCount = 0;
    std::string DuplicateTime;
    std::int32_t Type = kNoType;
    std::string TestProfile;
    std::int32_t Spare = 0;
    std::vector<std::unique_ptr<OrvCHEnvelope>> Envelopes;
    std::size_t EnvelopeCursor = 0;

    // Null unless Type says so.
    LogEventData* logEvent() const { return logEvent_.get(); }
    CronCaptureData* cronCapture() const { return cronCapture_.get(); }

private:
    mutable Mt::Mutex lock_;
    std::unique_ptr<LogEventData> logEvent_;
    std::unique_ptr<CronCaptureData> cronCapture_;
};
