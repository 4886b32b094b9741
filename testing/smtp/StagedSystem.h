// Test support: an operating system under the SMTP client that resolves what a test says, fails when it says so, and
// shows what the client asks of it.
#pragma once

#include "smtp/OrvSMTPSystem.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Answers names from a list, and lets single sends fail.
class StagedSystem final : public OrvSMTPSystem {
public:
    struct Asked {
        std::string name;
        int flags;
        int family;
        int type;
        bool operator==(const Asked&) const = default;
    };

    int resolve(const char* name, const addrinfo& hints, addrinfo** list) override {
        asked.push_back({name, hints.ai_flags, hints.ai_family, hints.ai_socktype});
        if (resolveError != 0) {
            return resolveError;
        }
        entries_.clear();
        for (const auto& text : addresses) {
            addEntry(text);
        }
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            entries_[i].info.ai_addr = reinterpret_cast<sockaddr*>(&entries_[i].address);
            entries_[i].info.ai_next = i + 1 < entries_.size() ? &entries_[i + 1].info : nullptr;
        }
        entries_.front().info.ai_canonname = canonical.empty() ? nullptr : canonical.data();
        *list = &entries_.front().info;
        ++lists;
        ++resolved;
        return 0;
    }

    void freeList(addrinfo* list) override {
        EXPECT_EQ(list, &entries_.front().info);
        --lists;
    }

    int connect(int socket, const sockaddr* address, socklen_t length) override {
        connected.push_back(describe(address, length));
        return OrvSMTPSystem::connect(socket, address, length);
    }

    void bound(int socket, int option, std::chrono::milliseconds limit) override {
        (option == SO_SNDTIMEO ? sendLimit_ : receiveLimit_) = limit;
        ++limitsSet;
        OrvSMTPSystem::bound(socket, option, limit);
    }

    ssize_t receive(int socket, void* bytes, std::size_t length) override {
        if (muteSince.has_value() && muteSince->empty()) {
            return letLimitPass(receiveLimit_);
        }
        const int error = takeError(receiveErrors);
        if (error != 0) {
            errno = error;
            return -1;
        }
        return OrvSMTPSystem::receive(socket, bytes, length);
    }

    ssize_t send(int socket, const void* bytes, std::size_t length, Waiting waiting) override {
        const std::string_view text(static_cast<const char*>(bytes), length);
        if (stuckSince.has_value() && text.starts_with(*stuckSince) && waiting == Waiting::kNever) {
            return letLimitPass(std::chrono::milliseconds(0));
        }
        lengths.push_back(length);
        lines.emplace_back(text.substr(0, std::min<std::size_t>(text.find('\r'), 40)));
        if (onSend) {
            onSend(text);
        }
        if (stuckSince.has_value() && text.starts_with(*stuckSince)) {
            stuckSince = "";
            return letLimitPass(sendLimit_);
        }
        if (muteSince.has_value() && text.starts_with(*muteSince)) {
            muteSince = "";
        }
        int on = 0;
        socklen_t size = sizeof on;
        EXPECT_EQ(getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
        EXPECT_NE(on, 0) << "the line that ends a text must not wait for the text's acknowledgement";
        EXPECT_EQ(fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
        const int error = takeError(sendErrors);
        if (error != 0) {
            errno = error;
            return -1;
        }
        return OrvSMTPSystem::send(socket, bytes, std::min(length, most), waiting);
    }

    std::vector<std::string> addresses{"127.0.0.1"};
    std::string canonical;
    int resolveError = 0;
    std::deque<int> sendErrors;  // 0: goes through
    std::deque<int> receiveErrors;
    std::function<void(std::string_view)> onSend;  // sees the bytes before they go; may be empty
    std::size_t most = SIZE_MAX;
    // The server says nothing, or takes nothing, from the line on that begins so; empty: from now on. Limits then pass
    // without being waited for, and are added up.
    std::optional<std::string> muteSince;
    std::optional<std::string> stuckSince;
    std::chrono::milliseconds held{0};
    std::vector<std::string> lines;  // how each piece that was to be sent begins, at most its first line
    std::vector<Asked> asked;
    std::vector<std::string> connected;  // addresses asked to connect to, every field of them
    std::vector<std::size_t> lengths;    // asked to send
    int lists = 0;                       // not freed
    unsigned resolved = 0;               // lists given out
    unsigned limitsSet = 0;

private:
    struct Entry {
        addrinfo info{};
        sockaddr_storage address{};
    };

    ssize_t letLimitPass(std::chrono::milliseconds limit) {
        held += limit;
        errno = EAGAIN;
        return -1;
    }

    static int takeError(std::deque<int>& errors) {
        const int error = errors.empty() ? 0 : errors.front();
        if (!errors.empty()) {
            errors.pop_front();
        }
        return error;
    }

    static std::string describe(const sockaddr* address, socklen_t length) {
        char text[INET6_ADDRSTRLEN] = "";
        if (address->sa_family == AF_INET && length == sizeof(sockaddr_in)) {
            sockaddr_in v4{};
            std::memcpy(&v4, address, sizeof v4);
            inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
            return std::string(text) + " port " + std::to_string(ntohs(v4.sin_port));
        }
        if (address->sa_family == AF_INET6 && length == sizeof(sockaddr_in6)) {
            sockaddr_in6 v6{};
            std::memcpy(&v6, address, sizeof v6);
            inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
            return std::string(text) + " port " + std::to_string(ntohs(v6.sin6_port)) + " flow " +
                   std::to_string(v6.sin6_flowinfo) + " scope " + std::to_string(v6.sin6_scope_id);
        }
        return "another family";
    }

    // Entries carry a port, a flow and a scope that nobody asked for.
    void addEntry(const std::string& text) {
        Entry entry;
        sockaddr_in v4{};
        sockaddr_in6 v6{};
        v4.sin_port = htons(9);
        v6.sin6_port = htons(9);
        v6.sin6_flowinfo = 7;
        v6.sin6_scope_id = 8;
        if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
            v4.sin_family = AF_INET;
            std::memcpy(&entry.address, &v4, sizeof v4);
            entry.info.ai_family = AF_INET;
            entry.info.ai_addrlen = sizeof v4;
        } else if (inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
            v6.sin6_family = AF_INET6;
            std::memcpy(&entry.address, &v6, sizeof v6);
            entry.info.ai_family = AF_INET6;
            entry.info.ai_addrlen = sizeof v6;
        } else {
            entry.address.ss_family = AF_UNIX;
            entry.info.ai_family = AF_UNIX;
            entry.info.ai_addrlen = sizeof(sa_family_t);
        }
        entries_.push_back(entry);
    }

    std::deque<Entry> entries_;
    std::chrono::milliseconds sendLimit_{0};
    std::chrono::milliseconds receiveLimit_{0};
};
