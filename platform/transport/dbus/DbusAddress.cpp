#include "platform/transport/dbus/DbusAddress.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace DbusAddress {
namespace {

// Reads a whole decimal number without sign, blanks or leading zeros: one process has one spelling.
bool readNumber(std::string_view text, std::uint32_t& number) {
    if (text.empty() || (text.size() > 1 && text.front() == '0')) {
        return false;
    }
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

}  // namespace

int parseUniqueName(const char* name, Hsb_Address& address) {
    const std::string_view text(name == nullptr ? "" : name);
    const std::size_t dot = text.find('.');
    if (text.empty() || text.front() != ':' || dot == std::string_view::npos) {
        return -1;
    }
    Hsb_Address parsed;
    if (!readNumber(text.substr(1, dot - 1), parsed.node) || !readNumber(text.substr(dot + 1), parsed.process) ||
        isService(parsed)) {
        return -1;
    }
    address = parsed;
    return 0;
}

Name processName(const Hsb_Address& address) {
    Name name;
    if (isService(address)) {
        std::snprintf(name.data(), name.size(), "%s", SWITCHD_NAME);
    } else {
        std::snprintf(name.data(), name.size(), ":%u.%u", unsigned{address.node}, unsigned{address.process});
    }
    return name;
}

}  // namespace DbusAddress
