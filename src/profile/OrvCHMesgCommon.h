// The sender and switch identity that every mail repeats.
//
// The main thread is the only writer and never waits for a running re-read; the send thread's readers wait until
// a re-read that has been asked for is answered, so no mail shows half of it.
#pragma once

#include "dsClient.h"
#include "profile/OrvConfigListener.h"
#include "profile/OrvIdentityListener.h"
#include "base/OrvMutex.h"

#include <cstdint>
#include <span>
#include <string>

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

class OrvCHMesgCommon {
public:
    static constexpr std::uint32_t kRequestId = 0;

    OrvCHMesgCommon(dsClient& store, OrvConfigListener& config, OrvIdentityListener& addresses);

    // Main thread.
    int readConfig();
    int processConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    int processConfig(const std::string& name, std::uint32_t type, const std::string& value);
    // An answer of this part could not be decoded: readers need not wait for it any longer.
    void abandonRead();
    // Interface-change event: its payload from the address count on.
    int setSwitchAddr(std::span<const std::uint8_t> countAndAddresses);
    void setHostname(const std::string& text);
    void probe() const;
    // Main thread: the fields as they stand, without waiting.
    OrvIdentity current() const;

    // Any other thread: the fields once no re-read is outstanding. While the returned object lives the
    // identity cannot change; no network or file call may happen meanwhile.
    class Reader {
    public:
        explicit Reader(const OrvCHMesgCommon& common);
        ~Reader();
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        const OrvIdentity& operator*() const;
        const OrvIdentity* operator->() const;
    private:
        const OrvCHMesgCommon& common_;
    };
};
