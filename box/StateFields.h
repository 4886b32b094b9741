// Descriptions of fields, as platform/wire/Fields.h has them, of what goes from life to life and from process to
// process here: collections of all kinds.
#pragma once

#include "platform/wire/Fields.h"

#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

namespace box {

// An item of a collection, as it can be read before it is put there.
template <typename Item>
struct ItemToRead {
    using Type = Item;
};
template <typename Key, typename Value>
struct ItemToRead<std::pair<const Key, Value>> {
    using Type = std::pair<Key, Value>;
};

// The items of a vector, a set or a map, each by its own description. What is read takes the place of what was there.
template <typename Items, typename Describe>
void items(FieldWriter& io, const Items& all, Describe describe) {
    io.list(all, describe);
}
template <typename Items, typename Describe>
void items(FieldReader& io, Items& all, Describe describe) {
    std::vector<typename ItemToRead<typename Items::value_type>::Type> read;
    io.list(read, describe);
    all = Items(std::make_move_iterator(read.begin()), std::make_move_iterator(read.end()));
}

// The same, of texts.
void texts(auto& io, auto& all) {
    items(io, all, TEXT32_FIELD);
}

}  // namespace box
