// What the attribute store allows the message queue, and how it is asked. Main thread only.
#pragma once

#include "dsClient.h"

#include <cstdint>
#include <span>

class OrvConfigListener;

// Without limits until the first answer.
struct OrvCHQuotas {
    bool throttleDuplicates = true;
    std::uint32_t throttleDuplicatesPeriod = 15;  // seconds on the duplicate queue
    std::uint32_t spaceAllowed = UINT32_MAX;      // bytes, all queues
    std::uint32_t filesAllowed = UINT32_MAX;      // closed entries of the send queue
    std::uint32_t discardPeriod = UINT32_MAX;     // seconds on the send queue
};

class OrvCHMesgQConfig {
public:
    // Both are referred to for this object's life; neither is called yet.
    OrvCHMesgQConfig(dsClient& store, OrvConfigListener& listener) : store_(store), listener_(listener) {}

    // Asks for the quotas. 0, or -1 when that could not be sent: this part of the configuration is settled at once.
    int readConfig();
    // Takes the answer and settles this part of the configuration. 0.
    int processConfigBulk(std::span<const DsEntry> attributes, std::span<const std::int32_t> statuses);

    const OrvCHQuotas& quotas() const { return quotas_; }
    bool configDataRead() const { return configDataRead_; }

private:
    void applyAttribute(const DsEntry& attribute, bool bad, bool& conversionOk);

    dsClient& store_;
    OrvConfigListener& listener_;
    OrvCHQuotas quotas_;
    bool configDataRead_ = false;
};
