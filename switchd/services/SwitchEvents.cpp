#include "switchd/services/SwitchEvents.h"

#include "dsClient.h"
#include "platform/wire/SocketAddress.h"
#include "switchd/services/EventLog.h"
#include "switchd/store/AttributeStore.h"
#include "uptime.h"

namespace {

// The name that operators' records have in the log's component column.
constexpr const char* OPERATOR = "operator";

}  // namespace

SwitchEvents::SwitchEvents(AttributeStore& store, EventService& events, EventLog& log)
    : store_(store), events_(events), log_(log) {
}

int SwitchEvents::logRecord(Sw_Log_Type record, bool timed) {
    if (!timed) {
        const timeval now = calendar_time();
        record.seconds = static_cast<std::uint32_t>(now.tv_sec);
        record.microseconds = static_cast<std::uint32_t>(now.tv_usec);
    }
    if (log_.enter(record, OPERATOR) < 0) {
        reason_ = "the record was published but could not be kept in the event log";
        return -1;
    }
    return 0;
}

int SwitchEvents::state(const std::string& text) {
    if (store_.set(STATE_KEY, dsClient::TYPE_STRING, text) < 0) {
        reason_ = store_.reason();
        return -1;
    }
    publishText(SwitchEvent::STATE, text);
    return 0;
}

int SwitchEvents::addresses(const std::vector<std::string>& addresses) {
    InterfaceChange change;
    for (const std::string& address : addresses) {
        const auto slot = SocketAddress::encode(address);
        if (!slot) {
            reason_ = "'" + address + "' is neither an IPv4 nor an IPv6 address";
            return -1;
        }
        change.addresses.push_back(*slot);
    }
    raw(SwitchEvent::INTERFACE_CHANGE, encodeFields(change));
    return 0;
}

void SwitchEvents::hostname(const std::string& name) {
    publishText(SwitchEvent::HOSTNAME, name);
}

void SwitchEvents::raw(const EventId& event, std::span<const std::uint8_t> data) {
    events_.publish(event, data);
}

// Texts travel with the NUL that ends them.
void SwitchEvents::publishText(const EventId& event, const std::string& text) {
    std::vector<std::uint8_t> data(text.begin(), text.end());
    data.push_back(0);
    raw(event, data);
}
