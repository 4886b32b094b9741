// A mail server that says what its script says: replies and delays per stage, pieces of replies, refusals, silence,
// and hanging up anywhere. Records exactly what each client sent.
//
// One thread serves all connections on a free port of the loopback address. Scripted and asked from any thread; the
// script may change while clients are connected and counts for the replies that are yet to come.
#pragma once

#include "Descriptor.h"
#include "testing/ScriptedMailSession.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ScriptedMailServer {
public:
    enum class Family { kIPv4, kIPv6 };

    // Listens when it returns. Throws std::system_error when the loopback address cannot be had.
    explicit ScriptedMailServer(Family family = Family::kIPv4);
    // Breaks off all connections.
    ~ScriptedMailServer();
    ScriptedMailServer(const ScriptedMailServer&) = delete;
    ScriptedMailServer& operator=(const ScriptedMailServer&) = delete;

    std::string address() const { return family_ == Family::kIPv4 ? "127.0.0.1" : "::1"; }
    std::uint16_t port() const { return port_; }

    // The standing reply of a stage, and replies used once each before it.
    void answer(MailStage stage, ScriptedReply reply);
    void answerOnce(MailStage stage, ScriptedReply reply);
    // The same for one recipient address.
    void answerRecipient(const std::string& address, ScriptedReply reply);
    void answerRecipientOnce(const std::string& address, ScriptedReply reply);
    // Breaks every later connection off as soon as it has sent this many bytes.
    void hangUpAfterReceiving(std::size_t bytes);
    // Breaks off all connections that are open.
    void breakConnections();
    // Connects fail at once until they are accepted again; the port stays this server's.
    void refuseConnections();
    void acceptConnections();

    // Connections accepted so far.
    std::size_t connections() const;
    // The bytes received on each connection, in the order of connecting.
    std::vector<std::string> received() const;
    std::string received(std::size_t connection) const;
    std::vector<ScriptedMail> mailsTaken() const;
    // Connections that are still open on this side.
    std::size_t openConnections() const;

    // Waits until the condition holds, which is asked again after everything that happens. False when it still does
    // not after the limit. The condition may call the questions above.
    bool waitUntil(const std::function<bool()>& condition,
                   std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

private:
    struct Connection;
    using TimePoint = ScriptedMailSession::Clock::time_point;

    Descriptor boundSocket(std::uint16_t port) const;
    void startListening();
    void listenFromNowOn(bool listening);
    void followListening();
    void breakAll();
    void wake();
    void serve();
    int pollTimeout(TimePoint now) const;
    void acceptOne(TimePoint now);
    void readFrom(Connection& connection, TimePoint now);
    void act(Connection& connection, TimePoint now);
    void end(Connection& connection, ScriptedReply::End how);

    const Family family_;
    Descriptor holder_;  // keeps the port while nobody listens
    std::uint16_t port_ = 0;
    Descriptor wakeRead_;
    Descriptor wakeWrite_;

    mutable std::mutex mutex_;                 // guards all below
    mutable std::condition_variable changed_;  // after every turn of the serving thread
    Descriptor listener_;                      // none while connections are refused
    bool listening_ = true;
    bool stopping_ = false;
    bool breaking_ = false;
    std::size_t receiveLimit_ = SIZE_MAX;
    MailScript script_;
    std::vector<std::unique_ptr<Connection>> connections_;

    std::thread thread_;
};
