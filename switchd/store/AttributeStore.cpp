#include "switchd/store/AttributeStore.h"

#include <algorithm>
#include <utility>

namespace {

// Keys are shown and loaded as KEY=VALUE lines, so neither '=' nor anything unprintable may stand in one.
bool isKeyByte(char byte) {
    return byte > ' ' && byte < 0x7F && byte != '=';
}

std::string keyProblem(const std::string& key) {
    if (key.empty()) {
        return "an attribute name must not be empty";
    }
    if (key.size() > AttributeStore::MAX_KEY) {
        return "attribute name of " + std::to_string(key.size()) + " bytes is longer than " +
               std::to_string(AttributeStore::MAX_KEY);
    }
    if (!std::all_of(key.begin(), key.end(), isKeyByte)) {
        return "an attribute name must consist of printable characters without blanks and '='";
    }
    return {};
}

}  // namespace

bool AttributeStore::acceptable(const AttributeChange& change, std::string& reason) {
    for (const Attribute& attribute : change.set) {
        std::string problem = keyProblem(attribute.key);
        if (problem.empty() && attribute.value.size() > MAX_VALUE) {
            problem = attribute.key + ": value of " + std::to_string(attribute.value.size()) +
                      " bytes is longer than " + std::to_string(MAX_VALUE);
        }
        if (!problem.empty()) {
            reason = std::move(problem);
            return false;
        }
    }
    return true;
}

int AttributeStore::set(std::string key, std::uint32_t type, std::string value) {
    AttributeChange change;
    change.set.push_back(Attribute{std::move(key), type, std::move(value)});
    return apply(change);
}

StoreStatus AttributeStore::unset(const std::string& key) {
    Attribute present;
    if (const StoreStatus status = get(key, present); status != StoreStatus::OK) {
        return status;
    }
    AttributeChange change;
    change.unset.push_back(key);
    return apply(change) == 0 ? StoreStatus::OK : StoreStatus::FAILED;
}
