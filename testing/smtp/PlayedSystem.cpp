#include "testing/smtp/PlayedSystem.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

struct PlayedAddress {
    addrinfo info{};
    sockaddr_storage address{};
    std::string name;
};

namespace {

template <typename Address>
Address read(const sockaddr* address) {
    Address read{};
    std::memcpy(&read, address, sizeof read);
    return read;
}

std::string textOf(const sockaddr* address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address->sa_family == AF_INET) {
        const auto v4 = read<sockaddr_in>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text.data(), text.size());
    } else {
        const auto v6 = read<sockaddr_in6>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text.data(), text.size());
    }
    return text.data();
}

}  // namespace

PlayedSystem::PlayedSystem() = default;
PlayedSystem::~PlayedSystem() = default;

int PlayedSystem::resolve(const char* name, const addrinfo& /*hints*/, addrinfo** list) {
    const auto found = names_.find(name);
    if (found == names_.end()) {
        return EAI_NONAME;
    }
    auto& entry = *resolved_.emplace_back(std::make_unique<PlayedAddress>());
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, found->second.c_str(), &address.sin_addr);
    std::memcpy(&entry.address, &address, sizeof address);
    entry.name = name;
    entry.info.ai_family = AF_INET;
    entry.info.ai_addr = reinterpret_cast<sockaddr*>(&entry.address);
    entry.info.ai_addrlen = sizeof address;
    entry.info.ai_canonname = entry.name.data();
    *list = &entry.info;
    return 0;
}

void PlayedSystem::freeList(addrinfo* list) {
    std::erase_if(resolved_, [list](const auto& entry) { return &entry->info == list; });
}

int PlayedSystem::connect(int socket, const sockaddr* address, socklen_t /*length*/) {
    const auto found = servers_.find(textOf(address));
    if (found == servers_.end() || found->second.refuses) {
        errno = ECONNREFUSED;
        return -1;
    }
    PlayedServer& server = found->second;
    server.received.emplace_back();
    connections_[socket].reset(
        new Connection{&server, server.received.size() - 1, ScriptedMailSession(server.script, now()), "", {}, {}});
    return 0;
}

// What is due by now comes in; one piece at a time, as one receive would have it.
void PlayedSystem::pump(Connection& connection) {
    while (connection.waiting.empty() && connection.end == ScriptedReply::End::kKeepOpen) {
        const auto action = connection.session.due(now());
        if (!action.has_value()) {
            return;
        }
        connection.waiting = action->bytes;
        connection.end = action->end;
    }
}

ssize_t PlayedSystem::send(int socket, const void* bytes, std::size_t length, Waiting /*waiting*/) {
    Connection& connection = *connections_.at(socket);
    pump(connection);
    if (connection.end != ScriptedReply::End::kKeepOpen && connection.waiting.empty()) {
        errno = connection.end == ScriptedReply::End::kReset ? ECONNRESET : EPIPE;
        return -1;
    }
    const std::string_view text(static_cast<const char*>(bytes), length);
    connection.server->received[connection.number] += text;
    const std::size_t before = connection.session.mails().size();
    connection.session.receive(text, now());
    for (std::size_t i = before; i < connection.session.mails().size(); ++i) {
        connection.server->mails.push_back(connection.session.mails()[i]);
    }
    return static_cast<ssize_t>(length);
}

ssize_t PlayedSystem::receive(int socket, void* bytes, std::size_t length) {
    Connection& connection = *connections_.at(socket);
    pump(connection);
    if (connection.waiting.empty() && connection.end == ScriptedReply::End::kKeepOpen) {
        const auto due = connection.session.nextDue();
        const bool inTime = due.has_value() && *due - now() < connection.limit;
        passed_ += inTime ? std::chrono::ceil<std::chrono::milliseconds>(*due - now()) : connection.limit;
        pump(connection);
        if (!inTime) {
            errno = EAGAIN;
            return -1;
        }
    }
    if (connection.waiting.empty()) {
        errno = ECONNRESET;
        return connection.end == ScriptedReply::End::kReset ? -1 : 0;
    }
    const std::size_t taken = std::min(length, connection.waiting.size());
    connection.waiting.copy(static_cast<char*>(bytes), taken);
    connection.waiting.erase(0, taken);
    return static_cast<ssize_t>(taken);
}

bool PlayedSystem::hasBytes(int socket) {
    Connection& connection = *connections_.at(socket);
    pump(connection);
    return !connection.waiting.empty();
}

void PlayedSystem::bound(int socket, int option, std::chrono::milliseconds limit) {
    if (option == SO_RCVTIMEO) {
        connections_.at(socket)->limit = limit;
    }
}
