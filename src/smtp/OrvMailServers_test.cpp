#include "smtp/OrvMailServers.h"

#include <gtest/gtest.h>

namespace {

void set(OrvMailServer& server, const char* value, bool enabled, std::uint32_t port) {
    server.assign(value);
    server.Enabled = enabled;
    server.Port = port;
}

OrvMailServers servers(const char* primary, bool primaryEnabled, const char* secondary, bool secondaryEnabled) {
    OrvMailServers result;
    set(result.primary, primary, primaryEnabled, 25);
    set(result.secondary, secondary, secondaryEnabled, 2525);
    result.chooseActive();
    return result;
}

}  // namespace

TEST(OrvMailServers, startWithAnUnusablePrimaryActive) {
    const OrvMailServers none;

    EXPECT_EQ(none.validCount(), 0u);
    EXPECT_FALSE(none.usable());
    EXPECT_FALSE(none.duplicate());
    EXPECT_EQ(&none.active(), &none.primary);
}

TEST(OrvMailServers, chooseThePrimaryUnlessOnlyTheSecondaryIsValid) {
    struct {
        bool primary;
        bool secondary;
        bool secondaryActive;
        unsigned valid;
    } const rows[] = {
        {true, true, false, 2}, {true, false, false, 1}, {false, true, true, 1}, {false, false, false, 0}};
    for (const auto& row : rows) {
        const OrvMailServers both = servers("1-10.0.0.1", row.primary, "1-10.0.0.2", row.secondary);
        EXPECT_EQ(&both.active(), row.secondaryActive ? &both.secondary : &both.primary);
        EXPECT_EQ(both.validCount(), row.valid);
        EXPECT_EQ(both.usable(), row.valid > 0);
    }
}

TEST(OrvMailServers, changeOverToTheOtherServerIfItIsValid) {
    OrvMailServers both = servers("1-10.0.0.1", true, "1-10.0.0.2", true);
    EXPECT_EQ(both.changeover(), 0);
    EXPECT_EQ(&both.active(), &both.secondary);
    EXPECT_EQ(both.changeover(), 0);
    EXPECT_EQ(&both.active(), &both.primary);

    both.secondary.Enabled = false;
    EXPECT_EQ(both.changeover(), -1);
    EXPECT_EQ(&both.active(), &both.primary);

    OrvMailServers second = servers("0-", true, "1-10.0.0.2", true);
    EXPECT_EQ(second.changeover(), -1);
    EXPECT_EQ(&second.active(), &second.secondary);
}

TEST(OrvMailServers, goBackToThePrimaryWhenChosenAnew) {
    OrvMailServers both = servers("1-10.0.0.1", true, "1-10.0.0.2", true);
    ASSERT_EQ(both.changeover(), 0);

    both.chooseActive();

    EXPECT_EQ(&both.active(), &both.primary);
}

TEST(OrvMailServers, areDuplicatesWhenBothAreValidAndTheAddressTextsAreEqualWhateverThePorts) {
    struct {
        const char* primary;
        const char* secondary;
        bool secondaryEnabled;
        bool duplicate;
    } const rows[] = {
        {"1-10.0.0.1", "1-10.0.0.1", true, true},
        {"1-10.0.0.1", "1-0A000001", true, true},
        {"1-10.0.0.1", "3-10.0.0.1", true, true},
        {"1-10.0.0.1", "1-10.0.0.2", true, false},
        {"1-10.0.0.1", "1-10.0.0.1", false, false},
        {"1-127.0.0.1", "3-localhost", true, false},
        {"0-", "0-", true, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(servers(row.primary, true, row.secondary, row.secondaryEnabled).duplicate(), row.duplicate)
            << row.primary << " " << row.secondary;
    }
}

TEST(OrvMailServers, publishTheActiveServerByItsKind) {
    struct {
        const char* primary;
        bool primaryEnabled;
        const char* secondary;
        bool secondaryEnabled;
        const char* nfAddress;
        const char* address;
        const char* port;
    } const rows[] = {
        {"1-0A000001", true, "0-", false, "1-0A000001", "0A000001", "25"},
        {"1-10.0.0.1", true, "0-", false, "1-10.0.0.1", "10.0.0.1", "25"},
        {"2-fe80::1", true, "0-", false, "2-fe80::1", "00000000", "25"},
        {"3-mail.example.com", true, "0-", false, "3-mail.example.com", "00000000", "25"},
        {"0-", false, "1-0A000002", true, "1-0A000002", "0A000002", "2525"},
        {"1-0A000001", false, "3-mail", true, "3-mail", "00000000", "2525"},
        {"1-0A000001", false, "1-0A000002", false, "0-", "00000000", "25"},
        // The enable flags decide: an enabled default address is an address.
        {"0-", true, "0-", false, "1-00000000", "00000000", "25"},
        {"1-0A000001", false, "0-", true, "1-0A000001", "0A000001", "25"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.primary);
        const auto published =
            servers(row.primary, row.primaryEnabled, row.secondary, row.secondaryEnabled).published();
        EXPECT_EQ(published.nfAddress, row.nfAddress);
        EXPECT_EQ(published.address, row.address);
        EXPECT_EQ(published.port, row.port);
    }
}
