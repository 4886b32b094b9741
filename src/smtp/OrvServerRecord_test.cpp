#include "smtp/OrvServerRecord.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Row {
    const char* value;
    SmtpAddrMode kind;
    const char* address;
    const char* secondForm;
};

OrvServerRecord earlier() {
    OrvServerRecord record;
    record.assign("3-mail.example.com");
    record.SecondForm = "kept";
    return record;
}

}  // namespace

TEST(OrvServerRecord, startsAsTheDefaultAddressDisabled) {
    const OrvServerRecord record;

    EXPECT_EQ(record.Kind, SmtpAddrMode::kIPv4);
    EXPECT_EQ(record.Address, "0.0.0.0");
    EXPECT_EQ(record.SecondForm, "00000000");
    EXPECT_EQ(record.Port, 0u);
    EXPECT_FALSE(record.Enabled);
    EXPECT_FALSE(record.valid());
}

TEST(OrvServerRecord, readsEachFormOfAStoredValue) {
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
        OrvServerRecord record;
        record.assign(row.value);
        EXPECT_EQ(record.Kind, row.kind);
        EXPECT_EQ(record.Address, row.address);
        EXPECT_EQ(record.SecondForm, row.secondForm);
    }
}

TEST(OrvServerRecord, staysUnchangedByAnyOtherValue) {
    for (const char* value : {"", "1", "-", "4-10.1.2.3", "10.1.2.3", "a-b", "1 10.1.2.3", "3mail", " 1-10.1.2.3"}) {
        SCOPED_TRACE(value);
        OrvServerRecord record = earlier();
        record.assign(value);
        EXPECT_EQ(record.Kind, SmtpAddrMode::kHostName);
        EXPECT_EQ(record.Address, "mail.example.com");
        EXPECT_EQ(record.SecondForm, "kept");
    }
}

TEST(OrvServerRecord, leavesPortAndEnableFlagToTheirOwnAttributes) {
    OrvServerRecord record;
    record.Port = 2525;
    record.Enabled = true;

    record.assign("1-10.1.2.3");

    EXPECT_EQ(record.Port, 2525u);
    EXPECT_TRUE(record.Enabled);
}

TEST(OrvServerRecord, isValidWhenEnabledAndNotTheDefaultAddress) {
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
        OrvServerRecord record;
        record.assign(row.value);
        record.Enabled = row.enabled;
        EXPECT_EQ(record.valid(), row.valid);
    }
}

TEST(OrvServerRecord, isValidWithAnEmptyAddressWhichConnectingRefuses) {
    OrvServerRecord record;
    record.assign("1-");
    record.Enabled = true;

    EXPECT_TRUE(record.valid());
}
