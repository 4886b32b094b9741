// The switch's attribute service (message format 103): reads and writes the attribute store for components.
//
// Every request that can be read is answered, unless a fault says otherwise. Main thread only.
#pragma once

#include "platform/wire/DsWire.h"
#include "switchd/services/DelayedCalls.h"
#include "switchd/services/Faults.h"
#include "switchd/services/Service.h"
#include "switchd/store/AttributeStore.h"

#include <cstdint>
#include <string>
#include <vector>

class Hsb_Message;

// Statuses in the attribute service's answers.
namespace DsStatus {
inline constexpr std::int32_t OK = 0;
inline constexpr std::int32_t REFUSED = -1;
inline constexpr std::int32_t MISSING = -2;
inline constexpr std::int32_t FAILED = -3;  // the store could not do it
}  // namespace DsStatus

class AttributeService final : public Service {
public:
    // Bytes of values in one answer: what every bus carries, with room to spare.
    static constexpr std::size_t MAX_ANSWER = std::size_t{24} * 1024 * 1024;

    AttributeService(Transport& transport, AttributeStore& store, Faults& faults);

    void receive(Hsb_Message& message) override;

private:
    void handleConnect(const Hsb_Message& message);
    void handleGet(const Hsb_Message& message);
    void handleBulkGet(const Hsb_Message& message);
    void handleSet(const Hsb_Message& message);
    // Values that would make the answer longer than room are left out, as if the store had failed.
    DsValue read(const std::string& name, const FaultVerdict::ForName& verdict, std::size_t room);
    std::int32_t write(const DsSet& request, const FaultVerdict::ForName& verdict);
    void answer(const Hsb_Address& caller, std::uint16_t code, std::vector<std::uint8_t> payload,
                const FaultVerdict& verdict);

    AttributeStore& store_;
    Faults& faults_;
    DelayedCalls delayed_;
};
