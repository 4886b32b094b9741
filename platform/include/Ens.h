// Client of the switch's event service (message formats 3 and 4). Main thread only.
#pragma once

#include "Hsb_Address.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

class Hsb_Component;
class Hsb_Message;

class Ens {
public:
    static Ens* instance();
    // Returns 0 on failure, else a positive value.
    [[nodiscard]] int init();
    void shutdown();

    // Asks the name service for the event server; the answer is a Cns_Lookup_Response with the returned tag.
    // 0xFFFFFFFF when the request could not be sent.
    [[nodiscard]] static std::uint32_t lookup_server(Hsb_Component* component);

private:
    Ens() = default;
};

// Subscribes a component to events. Each returns 0 when the request could not be sent, else a positive value.
class Ens_Consumer {
public:
    Ens_Consumer(Hsb_Component* component, const Hsb_Address& server);
    [[nodiscard]] int subscribe(std::uint32_t category, std::uint32_t event);
    [[nodiscard]] int unsubscribe(std::uint32_t category, std::uint32_t event);

private:
    Hsb_Component* component_;
    Hsb_Address server_;
};

// Announces a component as a source of events. Returns as for Ens_Consumer.
class Ens_Producer {
public:
    Ens_Producer(Hsb_Component* component, const Hsb_Address& server);
    [[nodiscard]] int add(std::uint32_t category, std::uint32_t event);
    [[nodiscard]] int remove(std::uint32_t category, std::uint32_t event);

private:
    Hsb_Component* component_;
    Hsb_Address server_;
};

// View of an event message (format 3); valid while the message lives. A payload that is too short for the
// header gives category 0xFFFFFFFF and no data.
class Ens_Event {
public:
    explicit Ens_Event(const Hsb_Message& message);

    std::uint32_t category() const { return category_; }
    std::uint32_t number() const { return number_; }
    std::span<const std::uint8_t> data() const { return data_; }

private:
    std::uint32_t category_ = 0xFFFFFFFFu;
    std::uint32_t number_ = 0xFFFFFFFFu;
    std::span<const std::uint8_t> data_;
};
