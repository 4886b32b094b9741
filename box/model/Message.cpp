#include "box/model/Message.h"

#include <strings.h>

#include <algorithm>
#include <iterator>

namespace model {
namespace {

const char* const kLevels[] = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};

std::string applicationOf(std::uint32_t componentClass) {
    switch (componentClass) {
        case 1:
            return "NameServer";
        case 2:
            return "MgmtServer";
        case 4:
            return "Zoning";
        case 8:
            return "Switch";
        case 32:
            return "Blade";
        case 64:
            return "Port";
        case 128:
            return "Eport";
        case 256:
            return "Snmp";
        case 1024:
            return "CimServer";
        case 2048:
            return "CLI";
        case 4096:
            return "Orv";
        default:
            return "";
    }
}

bool isFault(const std::string& text) {
    return strncasecmp(text.c_str(), "Blade fault", 11) == 0 || strncasecmp(text.c_str(), "System fault", 12) == 0 ||
           strcasecmp(text.c_str(), "CALLHOME TEST MESSAGE - FAULT") == 0;
}

unsigned levelOf(const Sw_Log_Type& record) {
    switch (record.kind) {
        case 0:
            return isFault(record.text) ? 4 : 3;
        case 2:
            return 2;
        case 3:
            return 1;
        default:
            return 5;
    }
}

std::string identifier(std::uint32_t number) {
    return printed("%4.4X.%4.4X", number >> 16, number & 0xFFFFu);
}

Message ofDaemon(const Now& now, std::uint32_t number, unsigned level, std::string text) {
    Message message;
    message.time = plainTime(now);
    message.id = identifier(number);
    message.text = std::move(text);
    message.level = level;
    message.application = "Orv";
    return message;
}

// Allowances for tags, ends of elements and ten digits stand in for what is really written.
constexpr std::size_t kMessageAllowance = 134, kEventAllowance = 91, kEnvelopeAllowance = 124;

std::size_t sizeOf(const Envelope& envelope) {
    std::size_t size = kEnvelopeAllowance + envelope.format.size() + envelope.profile.size() + envelope.subject.size();
    for (const std::string& recipient : envelope.recipients) {
        size += recipient.size() + 1;
    }
    return size;
}

}  // namespace

char markOf(const std::string& recipient) {
    const bool marked = !recipient.empty() && std::string("!#$%").find(recipient[0]) != std::string::npos;
    return marked ? recipient[0] : kUnmarked;
}

std::string addressOf(const std::string& recipient) {
    return markOf(recipient) == kUnmarked ? recipient : recipient.substr(1);
}

void setMark(std::string& recipient, char mark) {
    recipient = (mark == kUnmarked ? "" : std::string(1, mark)) + addressOf(recipient);
}

const char* levelName(unsigned level) {
    return kLevels[std::min(level, 5u)];
}

unsigned levelNumber(const std::string& name) {
    return unsigned(std::min<std::ptrdiff_t>(std::find(std::begin(kLevels), std::end(kLevels), name) - kLevels, 5));
}

std::uint32_t Message::size() const {
    if (!size_) {
        std::size_t size = kMessageAllowance + time.size() + id.size() + text.size() + lastDuplicate.size();
        size += kEventAllowance + std::string(levelName(level)).size() + blade.size() + asic.size() + port.size() +
                fabric.size() + application.size() + component.size();
        for (const Envelope& envelope : envelopes) {
            size += sizeOf(envelope);
        }
        size_ = std::uint32_t(size);
    }
    return *size_;
}

std::string Message::key() const {
    std::string key;
    for (const std::string& part : {std::string(levelName(level)), blade, asic, port, fabric, application, component}) {
        key += part + "|";
    }
    return key + text;
}

Message ofEvent(const Sw_Log_Type& record) {
    Message message;
    message.time = recordTime(record.seconds, record.microseconds);
    message.id = identifier(record.number);
    message.text = record.text.substr(0, record.text.rfind('\n'));
    message.level = levelOf(record);
    message.blade = record.slot == -1 ? "" : printed("Blade: %d", record.slot);
    message.application = record.kind == 0 ? "" : applicationOf(record.componentClass);
    if (record.chip != -1) {
        message.asic = printed("%d.%d", record.chip, record.port);
    } else if (record.port != -1) {
        message.port = printed("%d", record.port);
    }
    return message;
}

Message ofPowerUp(const Now& now) {
    return ofDaemon(now, 0x8B000003, 1, "The switch has powered up and it is operational");
}

Message ofState(const Now& now, const std::string& state) {
    return ofDaemon(now, 0x8B000004, 1, "The switch operational state has changed to " + state);
}

Message ofTest(const Now& now, const std::string& profile) {
    Message message = ofDaemon(now, 0x8B000002, 5, "CALLHOME TEST PROFILE MESSAGE");
    message.testProfile = profile;
    return message;
}

}  // namespace model
