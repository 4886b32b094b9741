// Messages of the attribute store (format 103). Names travel in slots (dsClient::NAME_SLOT), padded with NUL.
//
// Every request carries an id that its answer repeats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Code 20: the sender wants to use the store. Code 50 answers it and has the same layout.
struct DsConnect {
    std::uint32_t version = 1;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsConnect> decode(std::span<const std::uint8_t> payload);
};

// Code 21; answered by code 2.
struct DsGet {
    std::uint32_t id = 0;
    std::uint32_t count = 1;
    std::string name;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsGet> decode(std::span<const std::uint8_t> payload);
};

// Code 22; answered by code 9.
struct DsBulkGet {
    std::uint32_t id = 0;
    std::vector<std::string> names;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsBulkGet> decode(std::span<const std::uint8_t> payload);
    static std::vector<std::uint8_t> encode(std::uint32_t id, std::span<const std::string> names);
};

// Code 23; answered by code 1.
struct DsSet {
    std::uint32_t id = 0;
    std::uint32_t type = 0;
    std::uint32_t count = 1;
    std::string name;
    std::string value;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsSet> decode(std::span<const std::uint8_t> payload);
};

// One attribute in an answer.
struct DsValue {
    std::string name;
    std::uint32_t type = 0;
    std::int32_t status = 0;
    std::string value;

    friend bool operator==(const DsValue&, const DsValue&) = default;
};

// Code 2.
struct DsAttributeAnswer {
    std::uint32_t id = 0;
    DsValue attribute;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsAttributeAnswer> decode(std::span<const std::uint8_t> payload);
};

// Code 9: the attributes in the order asked for.
struct DsBulkAnswer {
    std::uint32_t id = 0;
    std::vector<DsValue> attributes;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsBulkAnswer> decode(std::span<const std::uint8_t> payload);
};

// Code 1.
struct DsStatusAnswer {
    std::uint32_t id = 0;
    std::int32_t status = 0;

    std::vector<std::uint8_t> encode() const;
    static std::optional<DsStatusAnswer> decode(std::span<const std::uint8_t> payload);
};
