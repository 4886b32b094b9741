// The sender and switch identity that every mail repeats.
//
// The main thread is the only writer and never waits for a running re-read; the send thread's readers wait until
// a re-read that has been asked for is answered, so no mail shows half of it. A store that never answers stops them.
#pragma once

#include "base/OrvMutex.h"
#include "dsClient.h"
#include "profile/OrvConfigListener.h"
#include "profile/OrvIdentityListener.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The texts of the identity, copied out.
struct OrvIdentity {
    std::string From;
    std::string ReplyTo;
    std::string ContactName;
    std::string ContactEmail;
    std::string PhoneNumber;
    std::string StreetAddress;
    std::string Location;
    std::string SymName;
    std::string IPv4Address;
    std::string IPv6Address;
    std::string Hostname;
    std::string WWN;
    std::string SerialNum;
    bool DNSClientEnable = false;
};

// The sender address that means "not configured"; an empty one means the same.
inline constexpr char kOrvDefaultSender[] = "<undefined>";
bool orvIsDefaultSender(const std::string& address);
// The attributes that the identity is read from, in the order of the request: for whoever reads it without a daemon.
std::vector<std::string> orvIdentityKeys();

class OrvCHMesgCommon {
public:
    // All three must outlive this object.
    OrvCHMesgCommon(dsClient& store, OrvConfigListener& config, OrvIdentityListener& addresses);
    OrvCHMesgCommon(const OrvCHMesgCommon&) = delete;
    OrvCHMesgCommon& operator=(const OrvCHMesgCommon&) = delete;

    // Main thread.

    // Asks the store for the whole identity; readers wait from now on. 0, or -1 when the request could not be sent:
    // then this part is reported as complete and the identity stays as it is.
    [[nodiscard]] int readConfig() ORV_EXCLUDES(lock_);
    // Takes the answer, lets the readers go on and reports this part as complete. Minus the number of unknown keys.
    [[nodiscard]] int processConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses)
        ORV_EXCLUDES(lock_);
    // A single attribute changed: only traced. 0.
    int processConfig(const std::string& name, std::uint32_t type, const std::string& value);
    // An answer of this part could not be decoded: readers need not wait for it any longer.
    void abandonRead() ORV_EXCLUDES(lock_);
    // Interface-change event: its payload from the address count on (profile/OrvSwitchAddresses.h). 0.
    int setSwitchAddr(std::span<const std::uint8_t> countAndAddresses) ORV_EXCLUDES(lock_);
    // A host name as the name service tells it: stored as it stands, without the prefix "3-" if it has one.
    void setHostname(const std::string& text) ORV_EXCLUDES(lock_);
    void probe() const;
    // The fields as they stand, without waiting.
    OrvIdentity current() const;

    // Any other thread: the fields once no re-read is outstanding. While the returned object lives the
    // identity cannot change; nothing may be waited for meanwhile, but the trace may be written.
    class ORV_SCOPED_CAPABILITY Reader {
    public:
        explicit Reader(const OrvCHMesgCommon& common) ORV_ACQUIRE(common.lock_);
        ~Reader() ORV_RELEASE();
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        // The lock is held for as long as this lives.
        const OrvIdentity& operator*() const ORV_NO_THREAD_SAFETY_ANALYSIS { return common_.identity_; }
        const OrvIdentity* operator->() const { return &**this; }

    private:
        const OrvCHMesgCommon& common_;
    };

private:
    // Lets the readers go on at the end of its scope, whatever happens there.
    class ReadEnd {
    public:
        explicit ReadEnd(OrvCHMesgCommon& common) : common_(common) {}
        ~ReadEnd() { common_.setReadOutstanding(false); }
        ReadEnd(const ReadEnd&) = delete;
        ReadEnd& operator=(const ReadEnd&) = delete;

    private:
        OrvCHMesgCommon& common_;
    };

    // For the main thread, the only writer.
    const OrvIdentity& own() const ORV_NO_THREAD_SAFETY_ANALYSIS { return identity_; }
    void setReadOutstanding(bool outstanding) ORV_EXCLUDES(lock_);
    int request() ORV_EXCLUDES(lock_);
    int applyAnswer(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) ORV_EXCLUDES(lock_);
    bool apply(const DsEntry& entry, OrvIdentity& identity);

    dsClient& store_;
    OrvConfigListener& config_;
    OrvIdentityListener& addresses_;

    mutable Mt::Mutex lock_;
    mutable Mt::CondLock readDone_;
    bool readOutstanding_ ORV_GUARDED_BY(lock_) = false;
    OrvIdentity identity_ ORV_GUARDED_BY(lock_);
};
