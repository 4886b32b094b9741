#include "switchd/services/Components.h"

#include "switchd/services/Service.h"

#include <strings.h>

#include <algorithm>

Components::Component& Components::at(const Hsb_Address& address) {
    const auto known = std::ranges::find(components_, address, &Component::address);
    if (known != components_.end()) {
        return *known;
    }
    components_.push_back({{}, address, ComponentState::ABSENT});
    return components_.back();
}

void Components::registered(const Hsb_Address& address, const std::string& name) {
    std::erase_if(components_, [&](const Component& other) { return other.name == name && other.address != address; });
    Component& component = at(address);
    component.name = name;
    component.state = std::max(component.state, ComponentState::REGISTERED);
    const Component told = component;
    changes_.tell(told);
}

void Components::unregistered(const Hsb_Address& address, const std::string& name) {
    std::erase_if(components_, [&](const Component& known) { return known.name == name && known.address == address; });
}

void Components::reached(const Hsb_Address& address, ComponentState state) {
    Component& component = at(address);
    component.state = state;
    const Component told = component;
    changes_.tell(told);
}

void Components::left(const Hsb_Address& process) {
    std::erase_if(components_, [&](const Component& known) { return belongsTo(known.address, process); });
}

const Components::Component* Components::named(std::string_view name) const {
    const auto known = std::ranges::find(components_, name, &Component::name);
    return known == components_.end() || name.empty() ? nullptr : &*known;
}

const Components::Component* Components::calledByOperator(std::string_view name) const {
    const std::string wanted(name);
    const auto known = std::ranges::find_if(components_, [&](const Component& component) {
        return !component.name.empty() && strcasecmp(component.name.c_str(), wanted.c_str()) == 0;
    });
    return known == components_.end() ? nullptr : &*known;
}

ComponentState Components::stateOf(const Hsb_Address& address) const {
    const auto known = std::ranges::find(components_, address, &Component::address);
    return known == components_.end() ? ComponentState::ABSENT : known->state;
}

std::vector<Components::Component> Components::all() const {
    std::vector<Component> result;
    std::ranges::copy_if(components_, std::back_inserter(result),
                         [](const Component& component) { return !component.name.empty(); });
    return result;
}
