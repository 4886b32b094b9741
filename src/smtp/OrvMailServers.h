// The two mail servers, which of them is active, and how they change over.
//
// Plain data: whoever shares it between threads holds a lock.
#pragma once

#include "smtp/OrvServerRecord.h"

#include <cstdint>
#include <string>

class OrvMailServers {
public:
    OrvServerRecord primary;
    OrvServerRecord secondary;

    unsigned validCount() const { return (primary.valid() ? 1u : 0u) + (secondary.valid() ? 1u : 0u); }
    // At least one server is valid.
    bool usable() const { return validCount() > 0; }
    // Both are valid and have one address text. Kept: the ports are not compared.
    bool duplicate() const { return validCount() == 2 && primary.Address == secondary.Address; }

    const OrvServerRecord& active() const { return secondaryActive_ ? secondary : primary; }
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
