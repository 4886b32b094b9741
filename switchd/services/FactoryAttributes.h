// The attributes that a switch has when it leaves the factory.
#pragma once

#include <span>

class AttributeStore;

struct FactoryAttribute {
    const char* key;
    unsigned type;
    const char* value;
};

std::span<const FactoryAttribute> factoryAttributes();

// Gives an empty store the factory's attributes; a store that holds anything is left as it is. 0, or -1 with the
// store's reason.
[[nodiscard]] int seedFactoryAttributes(AttributeStore& store);
