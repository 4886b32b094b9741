// The components that the switch knows of, and how far each has come. Main thread only.
//
// The name service and the configuration monitor report here; operators ask here.
#pragma once

#include "Hsb_Address.h"
#include "switchd/services/Observers.h"
#include "switchd/services/OperatorWire.h"

#include <string>
#include <string_view>
#include <vector>

class Components {
public:
    struct Component {
        std::string name;  // empty until it has registered
        Hsb_Address address;
        ComponentState state = ComponentState::ABSENT;
    };

    // A component that registers a name held by another takes it over: the other is an earlier life of its own.
    void registered(const Hsb_Address& address, const std::string& name);
    // Nothing unless the name is held by this address.
    void unregistered(const Hsb_Address& address, const std::string& name);
    // Sets how far a component has come, back or forth.
    void reached(const Hsb_Address& address, ComponentState state);
    // All components of this process are gone.
    void left(const Hsb_Address& process);

    // The component registered under exactly this name; null when there is none. Valid until the next change.
    const Component* named(std::string_view name) const;
    // As named, whatever the case of its letters.
    const Component* calledByOperator(std::string_view name) const;
    ComponentState stateOf(const Hsb_Address& address) const;
    // All that have a name, in the order of their coming.
    std::vector<Component> all() const;

    // Told after each change, with the component.
    Observers<Component>& changes() { return changes_; }

private:
    Component& at(const Hsb_Address& address);

    std::vector<Component> components_;
    Observers<Component> changes_;
};
