// The configuration of the mail servers: asking for it, taking it in, and publishing which server is active.
//
// Main thread only. What the send thread needs of it stands in the state that both share.
#pragma once

#include "dsClient.h"
#include "smtp/OrvSendState.h"

#include <cstdint>
#include <span>
#include <type_traits>

class OrvServerSettings {
public:
    // Both outlive the settings.
    OrvServerSettings(dsClient& store, OrvSendState& state) : store_(store), state_(state) {}

    // Asks the store for the servers. 0, or -1 when the request could not be sent.
    [[nodiscard]] int request();
    // Takes the answer in, chooses the active server and tells the store which it is: no dialogue begins meanwhile.
    // Minus the number of unknown keys.
    [[nodiscard]] int apply(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses)
        ORV_EXCLUDES(state_.lock);
    // The answer to that. 0, or -1 when the write failed or was not this part's.
    [[nodiscard]] int processDsStatus(std::uint32_t id, std::int32_t status);
    // Makes the other server active, and publishes it, if it is valid. 0, or -1 when nothing changed.
    int changeover() ORV_EXCLUDES(state_.lock);

    // None of these needs memory.
    bool usable() const ORV_EXCLUDES(state_.lock) { return ask(&OrvMailServers::usable); }
    bool duplicate() const ORV_EXCLUDES(state_.lock) { return ask(&OrvMailServers::duplicate); }
    unsigned validCount() const ORV_EXCLUDES(state_.lock) { return ask(&OrvMailServers::validCount); }

    OrvMailServer active() const ORV_EXCLUDES(state_.lock) { return ask(&OrvMailServers::active); }
    OrvMailServers servers() const ORV_EXCLUDES(state_.lock);
    void probe() const ORV_EXCLUDES(state_.lock);

private:
    struct Key;
    static const Key kKeys[];

    template <typename Answer>
    std::remove_cvref_t<Answer> ask(Answer (OrvMailServers::*question)() const) const ORV_EXCLUDES(state_.lock) {
        const Mt::Lock lock(state_.lock);
        return (state_.servers.*question)();
    }
    bool applyEntry(const DsEntry& entry) ORV_REQUIRES(state_.lock);
    void publish() ORV_REQUIRES(state_.lock);

    dsClient& store_;
    OrvSendState& state_;
    bool gatewayEnabled_ = false;  // only shown
};
