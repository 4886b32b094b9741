#include "switchctl/input/EventArguments.h"

#include "platform/wire/SocketAddress.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

namespace {

constexpr std::size_t MAX_MICROSECOND_DIGITS = 6;

void readLocation(const std::string& text, Sw_Log_Type& record) {
    const auto parts = Text::split(text, '.');
    const auto first = Text::number(parts[0], INT32_MIN, INT32_MAX);
    const auto second = parts.size() > 1 ? Text::number(parts[1], INT32_MIN, INT32_MAX) : std::nullopt;
    const auto index = parts.size() > 2 ? Text::number(parts[2], INT16_MIN, INT16_MAX) : -1;
    if (parts.size() > 3 || !first || !second || !index) {
        throw UsageError("\"" + text + "\" is not a location; write two numbers and perhaps an index: 3.1 or 3.1.2");
    }
    record.location1 = static_cast<std::int32_t>(*first);
    record.location2 = static_cast<std::int32_t>(*second);
    record.locationIndex = static_cast<std::int16_t>(*index);
}

void readNames(const std::string& text, Sw_Log_Type& record) {
    const auto names = Text::split(text, ',');
    for (const std::string& name : names) {
        if (name.size() >= Sw_Log_Type::NAME_SIZE) {
            throw UsageError("the location name \"" + name + "\" is too long; it has room for 15 bytes");
        }
    }
    if (names.size() > 2) {
        throw UsageError("\"" + text + "\" holds too many names; write one or two: Blade or Blade,Port");
    }
    record.locationName1 = names[0];
    record.locationName2 = names.size() > 1 ? names[1] : "";
}

// The digits after the dot are a fraction: .5 is half a second.
void readTime(const std::string& text, Sw_Log_Type& record) {
    const auto parts = Text::split(text, '.');
    const auto seconds = Text::number(parts[0], 0, UINT32_MAX);
    std::string fraction = parts.size() > 1 ? parts[1] : "0";
    const bool fits = !fraction.empty() && fraction.size() <= MAX_MICROSECOND_DIGITS &&
                      fraction.find_first_not_of("0123456789") == std::string::npos;
    if (parts.size() > 2 || !seconds || !fits) {
        throw UsageError("\"" + text + "\" is not a time; write seconds since 1970: 1700000000 or 1700000000.123456");
    }
    fraction.resize(MAX_MICROSECOND_DIGITS, '0');
    record.seconds = static_cast<std::uint32_t>(*seconds);
    record.microseconds = static_cast<std::uint32_t>(std::stoul(fraction));
}

}  // namespace

LogRecord logRecordFrom(const LogEventArguments& arguments) {
    LogRecord result{arguments.record, !arguments.time.empty()};
    if (result.record.text.size() >= Sw_Log_Type::TEXT_SIZE) {
        throw UsageError("the text has " + std::to_string(result.record.text.size()) +
                         " bytes; a log record has room for 227");
    }
    if (!arguments.location.empty()) {
        readLocation(arguments.location, result.record);
    }
    if (!arguments.names.empty()) {
        readNames(arguments.names, result.record);
    }
    if (result.timed) {
        readTime(arguments.time, result.record);
    }
    return result;
}

// The daemon takes no notice of what it wrote itself.
constexpr std::uint32_t OWN_ENTRY_FLAGS = 4096;

std::string whyNobodyIsMailed(const Sw_Log_Type& record) {
    if (record.kind != 0 && record.kind != 2 && record.kind != 3) {
        return "nobody is mailed for an event of type " + std::to_string(record.kind) + "; CallHome takes 0, 2 and 3";
    }
    return record.flags == OWN_ENTRY_FLAGS ? "nobody is mailed for it: flags 4096 mark the daemon's own entries" : "";
}

void checkAddresses(const std::vector<std::string>& addresses) {
    for (const std::string& address : addresses) {
        if (!SocketAddress::encode(address)) {
            throw UsageError("\"" + address + "\" is not an address; write 10.20.30.40 or fe80::1");
        }
    }
}

WireBytes bytesFrom(const std::string& hex) {
    const auto bytes = Text::bytes(hex);
    if (!bytes) {
        throw UsageError("\"" + hex + "\" is not hexadecimal; write two digits a byte: 00ff41");
    }
    return *bytes;
}
