// Test support: mail servers without sockets and without waiting. What would wait moves a clock of its own instead, so
// that hours of silence take no time, and pieces of replies come exactly as their script says.
//
// The scripts are set before anybody connects. Asked by one thread at a time.
#pragma once

#include "smtp/OrvSMTPSystem.h"
#include "testing/ScriptedMailSession.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// One server, which speaks as its script says.
struct PlayedServer {
    MailScript script;
    bool refuses = false;               // connections
    std::vector<ScriptedMail> mails;    // taken, in order
    std::vector<std::string> received;  // by connection: what its client said
};

class PlayedSystem final : public OrvSMTPSystem {
public:
    // The server at this address, "192.0.2.1" for example; any port is its.
    PlayedServer& at(const std::string& address) { return servers_[address]; }
    // What a name resolves to.
    void name(const std::string& name, const std::string& address) { names_[name] = address; }
    // How far its clock has gone.
    std::chrono::milliseconds passed() const { return passed_; }

    int resolve(const char* name, const addrinfo& hints, addrinfo** list) override;
    void freeList(addrinfo* list) override;
    int connect(int socket, const sockaddr* address, socklen_t length) override;
    ssize_t send(int socket, const void* bytes, std::size_t length, Waiting waiting) override;
    ssize_t receive(int socket, void* bytes, std::size_t length) override;
    bool hasBytes(int socket) override;
    std::chrono::steady_clock::time_point now() override { return start_ + passed_; }
    void bound(int socket, int option, std::chrono::milliseconds limit) override;

private:
    struct Connection {
        PlayedServer* server;
        std::size_t number;  // of the server's
        ScriptedMailSession session;
        std::string waiting;  // come, and not received yet
        ScriptedReply::End end = ScriptedReply::End::kKeepOpen;
        std::chrono::milliseconds limit{0};
    };

    void pump(Connection& connection);

    std::map<std::string, PlayedServer> servers_;
    std::map<std::string, std::string> names_;
    std::map<int, std::unique_ptr<Connection>> connections_;  // by socket
    const std::chrono::steady_clock::time_point start_{std::chrono::hours(1)};
    std::chrono::milliseconds passed_{0};
    std::vector<std::unique_ptr<struct PlayedAddress>> resolved_;

public:
    PlayedSystem();
    ~PlayedSystem() override;
};
