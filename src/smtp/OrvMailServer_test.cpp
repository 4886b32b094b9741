#include "smtp/OrvMailServers.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Row {
    const char* value;
    SmtpAddrMode kind;
    const char* address;
    const char* secondForm;
};

OrvMailServer earlier() {
    OrvMailServer server;
    server.assign("3-mail.example.com");
    server.SecondForm = "kept";
    return server;
}

}  // namespace

TEST(OrvMailServer, startsAsTheDefaultAddressDisabled) {
    const OrvMailServer server;

    EXPECT_EQ(server.Kind, SmtpAddrMode::kIPv4);
    EXPECT_EQ(server.Address, "0.0.0.0");
    EXPECT_EQ(server.SecondForm, "00000000");
    EXPECT_EQ(server.Port, 0u);
    EXPECT_FALSE(server.Enabled);
    EXPECT_FALSE(server.valid());
}

TEST(OrvMailServer, readsEachFormOfAStoredValue) {
    const std::vector<Row> rows{
        {"0-", SmtpAddrMode::kIPv4, "0.0.0.0", "00000000"},
        {"0-10.1.2.3", SmtpAddrMode::kIPv4, "0.0.0.0", "00000000"},
        {"1-10.1.2.3", SmtpAddrMode::kIPv4, "10.1.2.3", "10.1.2.3"},
        {"1-0A010203", SmtpAddrMode::kIPv4, "10.1.2.3", "0A010203"},
        {"1-c0a8fe01", SmtpAddrMode::kIPv4, "192.168.254.1", "c0a8fe01"},
        {"1-00000000", SmtpAddrMode::kIPv4, "0.0.0.0", "00000000"},
        {"1-0A01020", SmtpAddrMode::kIPv4, "0A01020", "0A01020"},
        {"1-0A0102033", SmtpAddrMode::kIPv4, "0A0102033", "0A0102033"},
        {"1-0A01020G", SmtpAddrMode::kIPv4, "0A01020G", "0A01020G"},
        {"1--A010203", SmtpAddrMode::kIPv4, "-A010203", "-A010203"},
        {"1-", SmtpAddrMode::kIPv4, "", ""},
        {"1-not an address", SmtpAddrMode::kIPv4, "not an address", "not an address"},
        {"2-fe80::1", SmtpAddrMode::kIPv6, "fe80::1", "fe80::1"},
        {"2-20010DB8000000000000000000000042", SmtpAddrMode::kIPv6, "2001:db8::42", "20010DB8000000000000000000000042"},
        {"2-0A010203", SmtpAddrMode::kIPv6, "0A010203", "0A010203"},
        {"2-20010DB800000000000000000000004", SmtpAddrMode::kIPv6, "20010DB800000000000000000000004",
         "20010DB800000000000000000000004"},
        {"3-mail.example.com", SmtpAddrMode::kHostName, "mail.example.com", ""},
        {"3-0A010203", SmtpAddrMode::kHostName, "0A010203", ""},
        {"3-", SmtpAddrMode::kHostName, "", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        OrvMailServer server;
        server.assign(row.value);
        EXPECT_EQ(server.Kind, row.kind);
        EXPECT_EQ(server.Address, row.address);
        EXPECT_EQ(server.SecondForm, row.secondForm);
    }
}

TEST(OrvMailServer, staysUnchangedByAnyOtherValue) {
    for (const char* value : {"", "1", "-", "4-10.1.2.3", "10.1.2.3", "a-b", "1 10.1.2.3", "3mail", " 1-10.1.2.3"}) {
        SCOPED_TRACE(value);
        OrvMailServer server = earlier();
        server.assign(value);
        EXPECT_EQ(server.Kind, SmtpAddrMode::kHostName);
        EXPECT_EQ(server.Address, "mail.example.com");
        EXPECT_EQ(server.SecondForm, "kept");
    }
}

TEST(OrvMailServer, leavesPortAndEnableFlagToTheirOwnAttributes) {
    OrvMailServer server;
    server.Port = 2525;
    server.Enabled = true;

    server.assign("1-10.1.2.3");

    EXPECT_EQ(server.Port, 2525u);
    EXPECT_TRUE(server.Enabled);
}

TEST(OrvMailServer, isValidWhenEnabledAndNotTheDefaultAddress) {
    struct {
        const char* value;
        bool enabled;
        bool valid;
    } const rows[] = {
        {"1-10.1.2.3", true, true},  {"1-10.1.2.3", false, false}, {"0-", true, false},
        {"1-00000000", true, false}, {"3-0.0.0.0", true, false},   {"3-mail", true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        OrvMailServer server;
        server.assign(row.value);
        server.Enabled = row.enabled;
        EXPECT_EQ(server.valid(), row.valid);
    }
}

TEST(OrvMailServer, isValidWithAnEmptyAddressWhichConnectingRefuses) {
    OrvMailServer server;
    server.assign("1-");
    server.Enabled = true;

    EXPECT_TRUE(server.valid());
}
