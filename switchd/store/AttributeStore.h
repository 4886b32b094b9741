// Where the switch keeps its attributes: dotted names with a type and a value.
//
// Values are arbitrary bytes. A change of several attributes is one step: after a power loss either all of it or
// nothing of it is there. Main thread only.
#pragma once

#include "switchd/store/Attribute.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What one step writes and removes. A key that is removed and set is set; removing a missing key changes nothing.
struct AttributeChange {
    std::vector<Attribute> set;
    std::vector<std::string> unset;
};

enum class StoreStatus { OK, MISSING, FAILED };

class AttributeStore {
public:
    static constexpr std::size_t MAX_KEY = 255;
    static constexpr std::size_t MAX_VALUE = std::size_t{10} * 1024 * 1024;

    virtual ~AttributeStore() = default;

    // The attribute is written on OK only.
    [[nodiscard]] virtual StoreStatus get(std::string_view key, Attribute& attribute) = 0;
    // All attributes whose key begins with prefix, in the order of their keys' bytes. 0, or -1 (list unchanged).
    [[nodiscard]] virtual int list(std::string_view prefix, std::vector<Attribute>& attributes) = 0;
    // 0, or -1: nothing has changed. Keys and values that a store must not take are refused.
    [[nodiscard]] virtual int apply(const AttributeChange& change) = 0;
    // Why the last operation failed, for an operator to read.
    virtual const std::string& reason() const = 0;

    // apply() of one attribute.
    [[nodiscard]] int set(std::string key, std::uint32_t type, std::string value);
    // OK, MISSING (nothing to remove) or FAILED.
    [[nodiscard]] StoreStatus unset(const std::string& key);

protected:
    // True when every key and value may be stored; else false, with the reason.
    static bool acceptable(const AttributeChange& change, std::string& reason);
};
