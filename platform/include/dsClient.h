// Client of the switch's attribute store (message format 103). Main thread only.
//
// Attributes are dotted names with text values. Requests return at once; the answer is a message of its own
// to the owning component, which hands it to attrData, bulkAttr or statusMsg.
#pragma once

#include "DSCallbacks.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

class Hsb_Component;
class Hsb_Message;

// One attribute as answered: name, value type and value. Status is kept beside it.
struct DsEntry {
    std::string name;
    std::uint32_t type = 0;
    std::string value;
};

// Answer to getAttrReq (format 103, code 2).
struct DsAttrReply {
    std::uint32_t id = 0;
    DsEntry entry;
    std::int32_t status = 0;
};

// Answer to bulkGetAttrReq (format 103, code 9): entries and their statuses, in the order asked for.
struct DsBulkReply {
    std::uint32_t id = 0;
    std::vector<DsEntry> entries;
    std::vector<std::int32_t> statuses;
};

// Answer to setAttrReq (format 103, code 1).
struct DsStatusReply {
    std::uint32_t id = 0;
    std::int32_t status = 0;
};

class dsClient {
public:
    static constexpr std::uint32_t TYPE_STRING = 1;
    static constexpr std::uint32_t TYPE_INTEGER = 2;
    // Names in one bulk request, and the slot each name travels in (a longer name is refused).
    static constexpr std::size_t MAX_BULK_NAMES = 64;
    static constexpr std::size_t NAME_SLOT = 255;

    // Connects the owner with the store; callbacks->DSApiReady() follows later, from the loop. 0 on failure, else
    // a positive value. Both must outlive this client.
    [[nodiscard]] int init(Hsb_Component* owner, DSCallbacks* callbacks);

    // Each request carries an id that its answer repeats. 0, or -1 when it could not be sent.
    [[nodiscard]] int getAttrReq(std::uint32_t id, const char* name, std::uint32_t count);
    [[nodiscard]] int bulkGetAttrReq(std::uint32_t id, std::span<const std::string> names);
    [[nodiscard]] int setAttrReq(std::uint32_t id, const char* name, std::uint32_t type, const std::string& value,
                                 std::uint32_t count);

    // Each decodes an answer; output is written on success only. 0, or a positive error number when the payload
    // cannot be read.
    [[nodiscard]] int attrData(const Hsb_Message& message, DsAttrReply& reply) const;
    [[nodiscard]] int bulkAttr(const Hsb_Message& message, DsBulkReply& reply) const;
    [[nodiscard]] int statusMsg(const Hsb_Message& message, DsStatusReply& reply) const;

private:
    Hsb_Component* owner_ = nullptr;  // Not owned; null before init.
};
