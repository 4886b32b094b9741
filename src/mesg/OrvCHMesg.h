// One CallHome message: what happened, and one envelope per profile that is to receive it.
//
// Owned by one thread at a time. While the send thread works on a message of the queue, both sides take lock() for
// what they share: that thread changes delivery marks and done flags, the main thread the duplicate fields and the
// file's name, and each looks at what only it changes without the lock; composing and saving hold it. Nobody changes
// meanwhile what else both look at. The lock is never held across network calls.
#pragma once

#include "base/OrvMutex.h"
#include "mesg/CronCaptureData.h"
#include "mesg/LogEventData.h"
#include "mesg/OrvCHEnvelope.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct Sw_Log_Type;
enum class OrvMesgKind;

class OrvCHMesg {
public:
    enum Kind : std::int32_t { kNoType = 0, kLogEvent = 1, kCronCapture = 2 };

    // Without type data: to be restored, or to be built.
    OrvCHMesg();
    // With empty type data of the kind; any other type gives none. Without memory for it the message has type 0, too.
    explicit OrvCHMesg(std::int32_t type);
    // Copies share nothing: capture data draws a new sequence number (may throw OrvFileError, and the target of an
    // assignment is then without type data) and links its files. Main thread, like copyEnvelope().
    // Kept: a copy's estimate counts its envelopes twice.
    OrvCHMesg(const OrvCHMesg& other);
    OrvCHMesg& operator=(const OrvCHMesg& other) ORV_NO_THREAD_SAFETY_ANALYSIS;  // the main thread's
    ~OrvCHMesg();

    // Builders; 0, or -1 when the type data cannot be allocated.
    [[nodiscard]] int buildSwitchPowerUpData();
    [[nodiscard]] int buildTestData(const std::string& profile);
    [[nodiscard]] int buildSwitchStateData(const std::string& state);
    // Fills a message that holds log event data, or stops the process. Returns 0.
    int extractData(const Sw_Log_Type& record);
    // Creates the type data that the ID calls for, in place of any other. 0, or -1 (traced).
    [[nodiscard]] int createMesgByType();

    // Appends an envelope and adds its share to the estimate. Returns 0.
    int addEnvelope(std::unique_ptr<OrvCHEnvelope> envelope);
    // Appends a copy; 0, or -1 (alarmed and traced) when there is no memory. Main thread, for the alarms.
    [[nodiscard]] int copyEnvelope(const OrvCHEnvelope& envelope);

    // The estimate of the file's size in bytes; the message part is added once, at the first call.
    std::int32_t bytesToSave();
    // Two messages with equal keys are duplicates.
    std::string duplicateKey() const;
    // The next staged attachment of a capture, "<name>.<Sequence>"; empty after the last and for other kinds.
    std::string nextAttachmentFile();
    // Recipients that were not delivered; clears every mark and every done flag.
    std::uint32_t resetRecipients();

    // Writes the file FileName in place, over what it holds: at no moment it holds neither the old message nor the new
    // one. 0, or -1 (traced). May throw std::bad_alloc, too.
    // A new message does not go over what no start could read, and which has left its name free: a power cut might
    // leave the beginning of the one and the end of the other. Such a file makes way.
    [[nodiscard]] int save(bool isNew = false) const ORV_REQUIRES(lock_);
    // Fills an empty message from the file FileName; main thread. 0, or -1 (traced) when the file is not a whole
    // message: what has been read until then stays, so the message is to be discarded, as after a std::bad_alloc.
    [[nodiscard]] int restore();
    // Traces every field.
    void probe() const;

    Mt::Mutex& lock() const ORV_RETURN_CAPABILITY(lock_) { return lock_; }

    std::string FileName ORV_GUARDED_BY(lock_);
    std::string Time;
    std::string ID;
    std::string Text;
    std::int32_t DuplicateCount ORV_GUARDED_BY(lock_) = 0;
    std::string DuplicateTime ORV_GUARDED_BY(lock_);
    std::int32_t Type = kNoType;
    std::string TestProfile;
    std::int32_t Spare = 0;
    std::uint32_t PutOff = 0;  // how far its own retries have come; not kept in its file
    std::vector<std::unique_ptr<OrvCHEnvelope>> Envelopes;
    std::size_t EnvelopeCursor = 0;

    // Of a message that nobody else knows yet.
    void setFileName(const std::string& path) ORV_NO_THREAD_SAFETY_ANALYSIS { FileName = path; }

    // For the main thread, which alone changes them.
    const std::string& fileName() const ORV_NO_THREAD_SAFETY_ANALYSIS { return FileName; }
    std::int32_t duplicateCount() const ORV_NO_THREAD_SAFETY_ANALYSIS { return DuplicateCount; }
    const std::string& duplicateTime() const ORV_NO_THREAD_SAFETY_ANALYSIS { return DuplicateTime; }

    // Null unless Type says so.
    LogEventData* logEvent() const { return logEvent_.get(); }
    CronCaptureData* cronCapture() const { return cronCapture_.get(); }

private:
    int buildOwnEvent(std::uint32_t number, std::int32_t level, const std::string& text);
    int provideLogEvent();
    int createData(OrvMesgKind kind);
    std::int32_t mesgPart();
    std::string fileText() const ORV_REQUIRES(lock_);

    std::int32_t bytesToSave_ = 0;
    bool mesgPartCounted_ = false;  // bytesToSave_ holds the message part
    mutable Mt::Mutex lock_;
    std::unique_ptr<LogEventData> logEvent_;
    std::unique_ptr<CronCaptureData> cronCapture_;
};
