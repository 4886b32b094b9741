// The switch's component name service (message format 2).
//
// A lookup is answered as soon as its name is known, which may be at once or much later. The event server ("ENS") and
// the management component ("SM", instance "primary") are known from the start. Main thread only.
#pragma once

#include "platform/wire/CnsWire.h"
#include "switchd/services/Components.h"
#include "switchd/services/Faults.h"
#include "switchd/services/Service.h"

#include <deque>
#include <optional>

class Hsb_Message;

class NameService final : public Service {
public:
    // Lookups that wait for their name; of more than these the oldest are forgotten.
    static constexpr std::size_t MAX_WAITING = 1000;

    NameService(Transport& transport, Components& components, Faults& faults);

    void receive(Hsb_Message& message) override;
    void peerLeft(const Hsb_Address& process) override;

private:
    struct Waiting {
        Hsb_Address caller;
        CnsLookup lookup;
    };

    void handleRegister(const Hsb_Message& message);
    void handleUnregister(const Hsb_Message& message);
    void handleLookup(const Hsb_Message& message);
    std::optional<Hsb_Address> find(const CnsLookup& lookup) const;
    void answer(const Waiting& waiting, const Hsb_Address& address);
    void answerThoseWaiting();

    Components& components_;
    Faults& faults_;
    std::deque<Waiting> waiting_;
};
