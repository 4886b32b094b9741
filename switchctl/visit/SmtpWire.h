// The network under the daemon's SMTP client, as doctor has it: it never waits beyond a deadline, and remembers what
// was asked and what was said.
//
// The client takes what one receive gives for the whole reply. Here a reply that comes in pieces is put together first,
// so that all later ones stay in step, and remembered. A name's resolver alone cannot be hurried.
#pragma once

#include "smtp/OrvSMTPSystem.h"
#include "switchctl/visit/ServerVisit.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class SmtpWire final : public OrvSMTPSystem {
public:
    using Clock = std::chrono::steady_clock;
    // Told what begins to be waited for.
    using Tell = std::function<void(VisitStage::Kind kind, const std::string& asked)>;

    // A try to connect.
    struct Try {
        std::string address;
        std::string from;    // the switch's address on the way there; "" where no way leads there
        int routeError = 0;  // why not
        int error = 0;       // of the connect
        std::int64_t milliseconds = 0;
    };

    SmtpWire(Clock::time_point deadline, Tell tell) : deadline_(deadline), tell_(std::move(tell)) {}

    int resolve(const char* name, const addrinfo& hints, addrinfo** list) override;
    int connect(int socket, const sockaddr* address, socklen_t length) override;
    ssize_t send(int socket, const void* bytes, std::size_t length, Waiting waiting) override;
    ssize_t receive(int socket, void* bytes, std::size_t length) override;

    const std::vector<Try>& tries() const { return tries_; }
    // What a name was resolved to.
    const std::vector<std::string>& addresses() const { return addresses_; }
    // The last command, without its line end; "" before the first.
    const std::string& asked() const { return asked_; }
    // What came for it; "" for nothing.
    const std::string& reply() const { return reply_; }
    // It was waited for in vain until the time was over.
    bool timedOut() const { return timedOut_; }
    const std::optional<ServerVisit::Pieces>& pieces() const { return pieces_; }

private:
    bool await(int socket, Clock::time_point until) const;
    Clock::time_point patience() const;
    int connectTo(int socket, const sockaddr* address, socklen_t length) const;
    void dropUnasked(int socket);
    // One receive. What recv gives.
    ssize_t receivePiece(int socket, std::string& text);
    ssize_t dropEarlier(int socket);
    void awaitRest(int socket);
    void notePieces(std::size_t count, std::string_view first, bool unasked);

    const Clock::time_point deadline_;
    const Tell tell_;
    std::size_t addressesLeft_ = 1;
    std::vector<std::string> addresses_;
    std::vector<Try> tries_;
    std::string asked_;
    std::string reply_;
    std::string unfinished_;  // a reply whose rest was not there in time
    bool timedOut_ = false;
    std::optional<ServerVisit::Pieces> pieces_;
};
