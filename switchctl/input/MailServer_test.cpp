#include "switchctl/input/MailServer.h"

#include "switchctl/text/Errors.h"

#include <gtest/gtest.h>

namespace {

struct ServerCase {
    const char* text;
    const char* value;
    std::uint16_t port;
};

const ServerCase SERVERS[] = {
    {"1-127.0.0.1:2525", "1-127.0.0.1", 2525},
    {"1-127.0.0.1", "1-127.0.0.1", 25},
    {"2-::1", "2-::1", 25},
    {"2-[::1]:25", "2-::1", 25},
    {"2-[2001:db8::7]:65535", "2-2001:db8::7", 65535},
    {"2-[::1]", "2-::1", 25},
    {"3-mail.example.com:587", "3-mail.example.com", 587},
    {"3-mail", "3-mail", 25},
    {"127.0.0.1", "1-127.0.0.1", 25},
    {"192.0.2.1:587", "1-192.0.2.1", 587},
    {"::1", "2-::1", 25},
    {"[2001:db8::7]:26", "2-2001:db8::7", 26},
    {"mail.example.com", "3-mail.example.com", 25},
    {"mail.example.com:587", "3-mail.example.com", 587},
    {"mail", "3-mail", 25},
    {"1and1.example", "3-1and1.example", 25},
    {"3-192.0.2.1", "3-192.0.2.1", 25},
    {"3-my_host-1.example.com:1", "3-my_host-1.example.com", 1},
};

TEST(MailServer, isKindAddressAndPort) {
    for (const ServerCase& one : SERVERS) {
        const MailServer server = MailServer::parse(one.text);
        EXPECT_EQ(server.value, one.value) << one.text;
        EXPECT_EQ(server.port, one.port) << one.text;
    }
}

struct RefusedServer {
    const char* text;
    const char* why;
};

const RefusedServer REFUSED_SERVERS[] = {
    {"", "\"\" is not a host name"},
    {":25", "\"\" is not a host name"},
    {"127.0.0:25", "\"127.0.0\" is not an IPv4 address"},
    {"127.0.0.1.5", "\"127.0.0.1.5\" is not an IPv4 address"},
    {"[mail]:25", "\"mail\" is not an IPv6 address"},
    {"a:b:c", "\"a:b:c\" is not an IPv6 address"},
    {"smtp://mail", "its port is not a number from 1 to 65535"},
    {"operator@example.com", "\"operator@example.com\" is not a host name"},
    {"0-", "a kind is 1- (IPv4), 2- (IPv6) or 3- (host name)"},
    {"4-mail:25", "a kind is 1- (IPv4), 2- (IPv6) or 3- (host name)"},
    {"1-127.0.0:25", "\"127.0.0\" is not an IPv4 address"},
    {"1-mail:25", "\"mail\" is not an IPv4 address"},
    {"1-:25", "\"\" is not an IPv4 address"},
    {"2-127.0.0.1:25", "\"127.0.0.1\" is not an IPv6 address"},
    {"2-[::1:25", "a bracket is not closed"},
    {"2-[::1]x:25", "only a port follows the bracket"},
    {"2-[::1]25", "only a port follows the bracket"},
    {"3-:25", "\"\" is not a host name"},
    {"3-mail server:25", "\"mail server\" is not a host name"},
    {"3--mail:25", "\"-mail\" is not a host name"},
    {"3-mail..com", "\"mail..com\" is not a host name"},
    {"1-127.0.0.1:0", "its port is not a number from 1 to 65535"},
    {"1-127.0.0.1:65536", "its port is not a number from 1 to 65535"},
    {"1-127.0.0.1:smtp", "its port is not a number from 1 to 65535"},
    {"1-127.0.0.1:", "its port is not a number from 1 to 65535"},
};

TEST(MailServer, isRefusedWithTheRightForms) {
    for (const RefusedServer& one : REFUSED_SERVERS) {
        try {
            MailServer::parse(one.text);
            ADD_FAILURE() << one.text << " was taken";
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), std::string("the mail server \"") + one.text + "\" cannot be used: " + one.why +
                                        "; write 192.0.2.1:25, [2001:db8::1]:25 or mail.example.com:25");
        }
    }
}

struct ShownCase {
    const char* value;
    const char* shown;
};

constexpr ShownCase SHOWN[] = {
    {"", ""},
    {"0-", ""},
    {"0-00000000", ""},
    {"1-00000000", ""},
    {"1-0.0.0.0", ""},
    {"4-x", ""},
    {"127.0.0.1", ""},
    {"1-C0000201", "192.0.2.1"},
    {"1-192.0.2.1", "192.0.2.1"},
    {"1-C00002", "C00002"},
    {"2-20010DB8000000000000000000000001", "2001:db8::1"},
    {"2-2001:db8::1", "2001:db8::1"},
    {"3-mail.example.com", "mail.example.com"},
    {"3-C0000201", "C0000201"},
};

TEST(MailServerShown, isTheAddressInItsUsualNotation) {
    for (const ShownCase& one : SHOWN) {
        EXPECT_EQ(MailServer::shown(one.value), one.shown) << one.value;
    }
}

}  // namespace
