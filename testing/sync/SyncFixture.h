// Test support: one end of the file synchronisation against plain sockets, with its traces.
#pragma once

#include "Descriptor.h"
#include "sync/OrvSyncSettings.h"
#include "testing/dbg/TraceFixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A plain socket on 127.0.0.1 that gives up after a while instead of waiting for ever. It makes no call that a test
// may let fail.
class PlainSocket {
public:
    PlainSocket() : PlainSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    explicit PlainSocket(int descriptor) : descriptor_(descriptor) {
        const timeval patience{20, 0};
        setsockopt(descriptor_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }

    int descriptor() const { return descriptor_.get(); }
    void end() { descriptor_.reset(); }
    // As a peer that breaks down: what it had in hand is lost, and the other end is told.
    void reset() {
        const linger hard{1, 0};
        setsockopt(descriptor_.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        end();
    }
    void sayNoMore() const { shutdown(descriptor_.get(), SHUT_WR); }

    // A port that nobody else gets: refused until listen().
    std::uint16_t bindAnywhere() const {
        sockaddr_in address = local(0);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(descriptor_.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(getsockname(descriptor_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        return ntohs(address.sin_port);
    }
    void listen() const { EXPECT_EQ(::listen(descriptor_.get(), 5), 0); }
    PlainSocket accept() const { return PlainSocket(::accept(descriptor_.get(), nullptr, nullptr)); }
    void connect(std::uint16_t port) const {
        const sockaddr_in address = local(port);
        EXPECT_EQ(::connect(descriptor_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    void write(std::string_view bytes) const {
        EXPECT_EQ(sendto(descriptor_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL, nullptr, 0),
                  static_cast<ssize_t>(bytes.size()));
    }
    // That many bytes, or fewer when the other end has closed.
    std::string read(std::size_t count) const {
        std::string bytes(count, '\0');
        const ssize_t got = recvfrom(descriptor_.get(), bytes.data(), count, MSG_WAITALL, nullptr, nullptr);
        EXPECT_GE(got, 0);
        bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return bytes;
    }
    std::string readAll() const { return read(1u << 20); }

private:
    static sockaddr_in local(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    Descriptor descriptor_;
};

class SyncFixture : public TraceFixture {
protected:
    static constexpr char kLog[] = "orv.out.Sync";
    using Line = std::pair<std::string, std::string>;  // function, message

    static OrvSyncSettings at(std::uint16_t port) { return {.address = INADDR_LOOPBACK, .port = port}; }

    // What has been traced since the last look.
    std::string traced() {
        const std::string all = file(kLog);
        const std::string fresh = all.substr(std::min(seen_, all.size()));
        seen_ = all.size();
        return fresh;
    }
    std::string lines(const std::string& module, const std::vector<Line>& messages) const {
        std::string text;
        for (const auto& [function, message] : messages) {
            text += prefix(module, function) + message + "\n";
        }
        return text;
    }

    // A field of a record: the text and NULs.
    static std::string field(std::string text, std::size_t size) {
        text.resize(size, '\0');
        return text;
    }

    const ThreadLogger logger_{kLog};

private:
    std::size_t seen_ = 0;
};
