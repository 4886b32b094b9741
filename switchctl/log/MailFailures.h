// What the event log tells of mails that could not be sent: which mail servers have failed, and which recipients were
// refused.
#pragma once

#include "catalogue/OrvEventCatalogue.h"

#include <cstdint>
#include <string>
#include <vector>

class MailFailures {
public:
    // What the daemon asks for first when it reads its servers.
    static constexpr const char* SERVERS_KEY = "Global.Callhome.SMTPGatewayEnable";

    // What a mail failed for.
    enum class Stage { RESOLVE, CONNECT, CLOSED, RESPONSE, OTHER };

    // Times in microseconds since 1970.
    struct Server {
        std::string server;  // address and port
        std::string reason;  // the stage, as the daemon names it
        std::string description;
        std::string response;  // the server's; "" for none
        std::int64_t time = 0;
        bool otherWorks = false;  // Mails went out since, through the other one.

        Stage stage() const;
        // The system has nothing to say against it: a server that closed the connection in order.
        bool withoutError() const;
    };
    struct Recipient {
        std::string profile;
        std::string address;
        std::string server;
        std::string response;
        std::int64_t time = 0;
    };

    // What an entry says of mails: looked at once for all that say the same.
    struct Saying {
        enum class Kind {
            NOTHING,
            SERVER_FAILED,
            SERVER_NEXT,
            RECOVERED,
            RECIPIENT_GIVEN_UP,
            RECIPIENT_WORDS,
            SERVERS_READ
        };
        Kind kind = Kind::NOTHING;
        Server server{};
        Recipient recipient{};

        static Saying of(const OrvCatalogueMatch& entry);
    };
    // The next entry of the daemon.
    void take(const Saying& saying, std::int64_t time);

    // Those that have failed since the daemon read its mail servers and since each took a mail, the latest last.
    const std::vector<Server>& servers() const { return servers_; }
    // Those that were given up, each once with what was said last.
    const std::vector<Recipient>& recipients() const { return recipients_; }

private:
    void takeServer(const Server& failed, std::int64_t time);
    void takeRecovery();
    void takeRecipient(const Recipient& recipient, std::int64_t time);
    void takeWords(const Recipient& recipient);

    std::vector<Server> servers_;
    std::vector<Recipient> recipients_;
    std::string next_;  // the server that is tried next
};

// An address and a port as one writes them.
std::string serverText(const std::string& address, const std::string& port);
