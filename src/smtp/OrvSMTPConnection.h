// One TCP connection to a mail server: how it is made, and what is sent and received on it, each step within a limit.
//
// A limit that passes acts like a lost connection, and is remembered: whoever has let one pass is to be sent nothing
// more. Knows no command. Send thread only.
#pragma once

#include "Descriptor.h"
#include "smtp/OrvMailServers.h"
#include "smtp/OrvSMTPSystem.h"

#include <sys/socket.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// What went wrong: which step, and the system's, the resolver's or a fixed text.
struct OrvSMTPError {
    enum Code : std::int32_t {
        kOkay = 0,
        kHeloError = 1,
        kMailFromError = 2,
        kRcptToError = 3,
        kDataError = 4,
        kDataEndError = 5,
        kResponseError = 6,
        kResetError = 7,
        kResolveError = 8,
        kSetAddressError = 9,
        kSocketCreateError = 10,
        kConnectError = 11,
        kSocketClosedError = 12,
        kWriteStartedError = 13  // never set
    };
    Code code = kOkay;
    std::string text;

    const char* name() const;
};

class OrvSMTPConnection {
public:
    using Limit = std::chrono::milliseconds;
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit OrvSMTPConnection(OrvSMTPSystem& system) : system_(system) {}
    OrvSMTPConnection(const OrvSMTPConnection&) = delete;
    OrvSMTPConnection& operator=(const OrvSMTPConnection&) = delete;

    // Connects anew, each try within the limit: to the address, or to the name's addresses in the resolver's order
    // until one takes it. 0, or -1 with the error of the last try.
    int connect(const std::string& address, std::uint32_t port, SmtpAddrMode kind, Limit limit, OrvSMTPError& error);
    void close();

    // Bounds every send and receive from now on. A receive that has waited as long as usual is over if that is enough,
    // as if its limit had passed; null: it never is.
    void limitSteps(Limit limit, const std::atomic<bool>* enough = nullptr) {
        limit_ = limit;
        enough_ = enough;
    }
    // One send. How many bytes it took, or -1 with errno: the connection is lost unless that is EINTR or EMSGSIZE.
    ssize_t send(std::string_view bytes);
    // One receive, of at most 1024 bytes. 0; or -1 with errno, 0 when the server has closed in order.
    int receive();
    // The same before a moment that is not moved by what comes; the steps' limit is used up with it.
    int receiveBy(TimePoint due);
    TimePoint stepEnds() const { return system_.now() + limit_; }
    // What came with it, as a text, and with its zero bytes.
    const char* received() const { return received_.data(); }
    std::string_view receivedBytes() const { return {received_.data(), receivedSize_}; }
    // More has come than was received.
    bool hasBytes() const { return socket_ && system_.hasBytes(socket_.get()); }

    bool connected() const { return connected_; }
    bool limitPassed() const { return limitPassed_; }

private:
    // A limit as it is set on the socket, for one direction.
    struct SetLimit {
        int option;
        Limit limit{0};
    };

    int connectByName(const std::string& name, std::uint32_t port, Limit limit, OrvSMTPError& error);
    int tryConnect(sockaddr_storage server, std::uint32_t port, Limit limit, OrvSMTPError& error);
    int openConnection(const sockaddr_storage& server, socklen_t length, Limit limit);
    ssize_t sendWithin(std::string_view bytes);
    ssize_t receiveWithin();
    ssize_t receiveOnce();
    void bound(SetLimit& set, Limit limit);
    int lose(int error);

    OrvSMTPSystem& system_;
    Descriptor socket_;
    Limit limit_{0};
    const std::atomic<bool>* enough_ = nullptr;
    SetLimit sendLimit_{SO_SNDTIMEO};
    SetLimit receiveLimit_{SO_RCVTIMEO};
    std::array<char, 1025> received_{};
    std::size_t receivedSize_ = 0;
    bool connected_ = false;
    bool limitPassed_ = false;  // on this connection
};
