// Messages of the attribute store (format 103). Names travel in slots (dsClient::NAME_SLOT), padded with NUL.
//
// Every request carries an id that its answer repeats.
#pragma once

#include "dsClient.h"
#include "platform/wire/Fields.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Code 20: the sender wants to use the store. Code 50 answers it and has the same layout.
struct DsConnect {
    std::uint32_t version = 1;

    static void fields(auto& io, auto& message) { io(message.version); }
};

// Code 21; answered by code 2.
struct DsGet {
    std::uint32_t id = 0;
    std::uint32_t count = 1;
    std::string name;

    static void fields(auto& io, auto& message) {
        io(message.id, message.count);
        io.slot(message.name, dsClient::NAME_SLOT);
    }
};

// Code 22; answered by code 9.
struct DsBulkGet {
    std::uint32_t id = 0;
    std::vector<std::string> names;

    static void fields(auto& io, auto& message) {
        io(message.id);
        io.list(
            message.names, [](auto& each, auto& name) { each.slot(name, dsClient::NAME_SLOT); },
            dsClient::MAX_BULK_NAMES);
    }
    // Without copying the names.
    static std::vector<std::uint8_t> encode(std::uint32_t id, std::span<const std::string> names) {
        const struct {
            std::uint32_t id;
            std::span<const std::string> names;
        } view{id, names};
        return encodeFields(view, FIELDS_OF<DsBulkGet>);
    }
};

// Code 23; answered by code 1.
struct DsSet {
    std::uint32_t id = 0;
    std::uint32_t type = 0;
    std::uint32_t count = 1;
    std::string name;
    std::string value;

    static void fields(auto& io, auto& message) {
        io(message.id, message.type, message.count);
        io.slot(message.name, dsClient::NAME_SLOT);
        io.text32(message.value);
    }
};

// One attribute in an answer.
struct DsValue {
    std::string name;
    std::uint32_t type = 0;
    std::int32_t status = 0;
    std::string value;

    static void fields(auto& io, auto& message) {
        io.slot(message.name, dsClient::NAME_SLOT);
        io(message.type, message.status);
        io.text32(message.value);
    }
    friend bool operator==(const DsValue&, const DsValue&) = default;
};

// Code 2.
struct DsAttributeAnswer {
    std::uint32_t id = 0;
    DsValue attribute;

    static void fields(auto& io, auto& message) {
        io(message.id);
        DsValue::fields(io, message.attribute);
    }
};

// Code 9: the attributes in the order asked for.
struct DsBulkAnswer {
    std::uint32_t id = 0;
    std::vector<DsValue> attributes;

    static void fields(auto& io, auto& message) {
        io(message.id);
        io.list(message.attributes, FIELDS_OF<DsValue>);
    }
};

// Code 1.
struct DsStatusAnswer {
    std::uint32_t id = 0;
    std::int32_t status = 0;

    static void fields(auto& io, auto& message) { io(message.id, message.status); }
};
