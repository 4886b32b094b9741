// The two mail servers as the attribute store configures them, which of them is active, and how they change over.
//
// Plain data: whoever shares it between threads holds a lock. No name is resolved here; a wrong address literal is
// found by whoever connects to it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// How an address text is to be read: a server's address, and the identity a client gives itself. Other values can come
// from outside; whoever uses a kind decides what such a one does.
enum class SmtpAddrMode : std::uint32_t { kIPv4 = 1, kIPv6 = 2, kHostName = 3 };

struct OrvMailServer {
    SmtpAddrMode Kind = SmtpAddrMode::kIPv4;
    std::string Address = kNoAddress;        // what to connect to
    std::string SecondForm = kNoSecondForm;  // what is published as the active server
    std::uint32_t Port = 0;
    bool Enabled = false;

    static constexpr char kNoAddress[] = "0.0.0.0";
    static constexpr char kNoSecondForm[] = "00000000";

    // Takes kind and addresses from a stored value: the kind's digit, a hyphen and the address. An address in
    // hexadecimal digits is turned into the usual notation for connecting. A value of any other form, the empty one
    // included, changes nothing.
    void assign(std::string_view value);

    // Enabled, and configured to something else than the default address.
    bool valid() const { return Enabled && Address != kNoAddress; }
    // As the event log and the traces show it.
    int shownPort() const { return static_cast<int>(Port); }
};

class OrvMailServers {
public:
    OrvMailServer primary;
    OrvMailServer secondary;

    unsigned validCount() const { return (primary.valid() ? 1u : 0u) + (secondary.valid() ? 1u : 0u); }
    // At least one server is valid.
    bool usable() const { return validCount() > 0; }
    // Both are valid and have one address text. Kept: the ports are not compared.
    bool duplicate() const { return validCount() == 2 && primary.Address == secondary.Address; }

    const OrvMailServer& active() const { return secondaryActive_ ? secondary : primary; }
    // The primary if valid, else the secondary if valid, else the primary.
    void chooseActive() { secondaryActive_ = !primary.valid() && secondary.valid(); }
    // Makes the other server active if it is valid. 0, or -1 when nothing changed.
    int changeover();

    // What the attribute store is told about the active server.
    struct Published {
        std::string nfAddress;  // kind and address
        std::string address;
        std::string port;
    };
    Published published() const;

private:
    bool secondaryActive_ = false;
};
