// The network of a box: names, and mail servers that are models.
//
// What a server does is its manner's affair, which may change at any time; what is left open is drawn.
#pragma once

#include "box/BoxFile.h"
#include "box/MailSession.h"
#include "box/Random.h"
#include "box/Times.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace box {

// How a server meets its clients. Chances are in a thousand, for each step of a dialogue.
struct ServerManner {
    enum Reach : std::uint32_t { kUp, kRefusing, kUnreachable };
    std::uint32_t reach = kUp;
    std::uint32_t slowestReply = 20;  // milliseconds
    std::uint32_t defers = 0;         // 4xx
    std::uint32_t refuses = 0;        // 5xx
    std::uint32_t breaksOff = 0;      // the connection is gone before the reply, what came before it is not
    std::uint32_t mute = 0;           // no reply ever
    std::uint32_t splits = 0;         // a reply in two pieces

    static void fields(auto& io, auto& manner) {
        io(manner.reach, manner.slowestReply, manner.defers, manner.refuses, manner.breaksOff, manner.mute,
           manner.splits);
    }
};

struct MailServer {
    std::string name;     // in the timeline
    std::string address;  // IPv4, or IPv6 as inet_ntop writes it; that of a name is IPv4
    std::uint16_t port = 25;
    ServerManner manner;

    static void fields(auto& io, auto& server) {
        io.text32(server.name);
        io.text32(server.address);
        io(server.port);
        ServerManner::fields(io, server.manner);
    }
};

// What the client's end of a connection does or meets.
enum class ClientStep : std::uint32_t { kConnects, kConnected, kSends, kHears, kLoses };

class Network {
public:
    struct Told {
        // Something happened at a server.
        std::function<void(const MailServer& server, const std::string& what)> happening;
        // A server has taken a mail.
        std::function<void(const MailServer& server, const Mail& mail)> mail;
        // A client's step, and when it is felt: an address, bytes, or how the connection is lost.
        std::function<void(ClientStep step, std::string_view what, Time at)> client;
    };

    Network(std::vector<MailServer> servers, Random random, Told told)
        : servers_(std::move(servers)), random_(random), told_(std::move(told)) {}

    std::vector<MailServer>& servers() { return servers_; }
    MailServer* find(const std::string& address, std::uint16_t port);
    // Whether any server stands at this name or address.
    const MailServer* named(std::string_view name) const;
    Random& random() { return random_; }
    std::uint64_t randomState() const { return random_.state(); }
    const Told& told() const { return told_; }
    std::uint32_t openDialogues = 0;
    // Of this life: replies that were late, lost or in pieces, so that the client cannot know what the server has done.
    std::uint32_t troubles = 0;

private:
    std::vector<MailServer> servers_;
    Random random_;
    const Told told_;
};

// The client's end of a connection to a server.
class Connection final : public BoxFile {
public:
    explicit Connection(Network& network) : network_(network) {}
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Begins to connect. 0: it is under way; else an error number.
    int connect(const std::string& address, std::uint16_t port, Time now);
    // What became of it, as SO_ERROR says.
    int error() const { return error_; }
    // Each as the call: bytes, or minus an error number; receiving nothing that is there is -EAGAIN.
    long send(std::string_view bytes, Time now);
    long receive(char* bytes, std::size_t room, Time now);
    // The same without taking anything, and without waiting.
    long peek(char* bytes, std::size_t room, Time now) const;

    short ready(Time now) const override;
    Time due(Time now) const override;

    Time receiveLimit = 0;  // 0: none
    bool waits = true;      // not set to be non-blocking

private:
    // What comes from the server, and when.
    struct Piece {
        Time at = 0;
        std::string bytes;  // empty: the end
        int error = 0;      // the end is a broken connection
    };

    void say(const MailSession::Answer& answer, Time now);
    std::string choose(MailStep step);
    void breakOff(Time at);

    Network& network_;
    MailServer* server_ = nullptr;
    std::unique_ptr<MailSession> session_;
    Time connectedAt_ = kNever;
    int error_ = 0;
    bool over_ = false;  // the server says nothing more
    Time lastPiece_ = 0;
    std::deque<Piece> pieces_;
};

}  // namespace box
