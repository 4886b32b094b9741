// Client of the switch's component name service (message format 2). Main thread only.
#pragma once

#include "Hsb_Address.h"

#include <cstdint>
#include <string>

class Hsb_Component;
class Hsb_Message;

class Cns {
public:
    static Cns* instance();
    // Returns 0 on failure, else a positive value.
    [[nodiscard]] int init(int options);
    void shutdown();

private:
    Cns() = default;
};

// Makes a component known under its name.
class Cns_Registration {
public:
    Cns_Registration(Hsb_Component* component, int kind, int options);
    // 0, or -1 when the request could not be sent.
    [[nodiscard]] int add();

private:
    Hsb_Component* component_;
    int kind_;
    int options_;
};

// Asks for the address of a component by name and instance name.
class Cns_Lookup {
public:
    Cns_Lookup(int kind, const char* name, int nameLength, const char* instance, int instanceLength, int options);
    // Returns the tag that the response will carry, or 0xFFFFFFFF when the request could not be sent.
    [[nodiscard]] std::uint32_t send(Hsb_Component* component);

private:
    int kind_;
    std::string name_;
    std::string instance_;
    int options_;
};

// View of a lookup response (format 2, code 4). A payload that cannot be read gives tag 0xFFFFFFFF.
class Cns_Lookup_Response {
public:
    explicit Cns_Lookup_Response(const Hsb_Message& message);

    std::uint32_t tag() const { return tag_; }
    const Hsb_Address& address() const { return address_; }

private:
    std::uint32_t tag_ = 0xFFFFFFFFu;
    Hsb_Address address_;
};
