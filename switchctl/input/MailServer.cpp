#include "switchctl/input/MailServer.h"

#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>

namespace {

constexpr const char* RIGHT_FORMS = "; write 192.0.2.1:25, [2001:db8::1]:25 or mail.example.com:25";
constexpr std::size_t MAX_HOST_NAME = 253;

[[noreturn]] void refuseServer(const std::string& text, const std::string& why) {
    throw UsageError("the mail server \"" + Text::oneLine(text) + "\" cannot be used: " + why + RIGHT_FORMS);
}

bool isAddress(int family, const std::string& text) {
    unsigned char bytes[sizeof(in6_addr)];
    return inet_pton(family, text.c_str(), bytes) == 1;
}

bool isHostName(const std::string& name) {
    const auto fits = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_'; };
    return !name.empty() && name.size() <= MAX_HOST_NAME && std::ranges::all_of(name, fits) && name.front() != '.' &&
           name.front() != '-' && name.find("..") == std::string::npos;
}

// Cuts the port off the end of the address. An IPv6 address without brackets has no port.
std::string cutPort(const std::string& text, std::string& address) {
    const bool bracketed = address.starts_with('[');
    const std::size_t close = bracketed ? address.find(']') : 0;
    if (bracketed && close == std::string::npos) {
        refuseServer(text, "a bracket is not closed");
    }
    const bool bareIPv6 = !bracketed && std::ranges::count(address, ':') > 1;
    const std::size_t colon = bareIPv6 ? std::string::npos : address.find(':', close);
    if (bracketed && colon != close + 1 && close + 1 != address.size()) {
        refuseServer(text, "only a port follows the bracket");
    }
    std::string port =
        colon == std::string::npos ? std::to_string(MailServer::DEFAULT_PORT) : address.substr(colon + 1);
    address = bracketed ? address.substr(1, close - 1) : address.substr(0, colon);
    return port;
}

// Of an address that stands alone or has a port behind it.
char kindOf(const std::string& address) {
    if (address.starts_with('[') || std::ranges::count(address, ':') > 1) {
        return '2';
    }
    const std::string host = address.substr(0, address.find(':'));
    return !host.empty() && host.find_first_not_of("0123456789.") == std::string::npos ? '1' : '3';
}

// 32 or 128 bits in hexadecimal digits as an address; "" when they are none.
std::string fromDigits(int family, const std::string& digits) {
    const auto bytes = Text::bytes(digits);
    const std::size_t size = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    char text[INET6_ADDRSTRLEN];
    if (!bytes || bytes->size() != size || inet_ntop(family, bytes->data(), text, sizeof text) == nullptr) {
        return "";
    }
    return text;
}

}  // namespace

std::string MailServer::shown(const std::string& value) {
    if (value.size() < 2 || value[1] != '-' || value[0] < '1' || value[0] > '3') {
        return "";
    }
    std::string address = value.substr(2);
    const std::string usual = value[0] == '3' ? "" : fromDigits(value[0] == '1' ? AF_INET : AF_INET6, address);
    address = usual.empty() ? address : usual;
    return address == "0.0.0.0" ? "" : address;
}

MailServer MailServer::parse(const std::string& text) {
    const bool told = text.size() >= 2 && text[1] == '-' && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
    if (told && (text[0] < '1' || text[0] > '3')) {
        refuseServer(text, "a kind is 1- (IPv4), 2- (IPv6) or 3- (host name)");
    }
    std::string address = told ? text.substr(2) : text;
    const char kind = told ? text[0] : kindOf(text);
    const auto port = Text::number(cutPort(text, address), 1, UINT16_MAX);
    if (!port) {
        refuseServer(text, "its port is not a number from 1 to 65535");
    }
    if (kind == '1' && !isAddress(AF_INET, address)) {
        refuseServer(text, "\"" + address + "\" is not an IPv4 address");
    }
    if (kind == '2' && !isAddress(AF_INET6, address)) {
        refuseServer(text, "\"" + address + "\" is not an IPv6 address");
    }
    if (kind == '3' && !isHostName(address)) {
        refuseServer(text, "\"" + address + "\" is not a host name");
    }
    return {std::string(1, kind) + "-" + address, static_cast<std::uint16_t>(*port)};
}
