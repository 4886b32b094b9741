#include "platform/client/Speakers.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"

#include <syslog.h>

#include <algorithm>
#include <chrono>

namespace {

// Probes and management requests may come from anybody.
constexpr std::uint16_t OF_SERVICES_ONLY[] = {MessageFormat::CNS, MessageFormat::ENS_EVENT, MessageFormat::ENS,
                                              MessageFormat::DS, MessageFormat::CMON};

// A line at most once in this time: who forges once forges often.
constexpr std::chrono::minutes BETWEEN_LINES(10);

void tell(const Hsb_Message& message) {
    static std::chrono::steady_clock::time_point next{};
    static unsigned dropped = 0;
    ++dropped;
    const auto now = std::chrono::steady_clock::now();
    if (now < next) {
        return;
    }
    next = now + BETWEEN_LINES;
    const Hsb_Address& from = message.source();
    syslog(LOG_WARNING, "%u dropped: message %u/%u from %u.%u, which is not the switch's service", dropped,
           unsigned{message.format()}, unsigned{message.code()}, unsigned{from.node}, unsigned{from.process});
    dropped = 0;
}

}  // namespace

bool Speakers::allow(const Hsb_Message& message) {
    if (ServiceAddress::isService(message.source()) || !std::ranges::count(OF_SERVICES_ONLY, message.format())) {
        return true;
    }
    tell(message);
    return false;
}
