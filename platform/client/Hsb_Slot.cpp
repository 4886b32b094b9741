#include "Hsb_Slot.h"

#include "Hsb_Component.h"
#include "platform/client/HostBus.h"
#include "platform/posix/guarded.h"

#include <utility>

Hsb_Slot::~Hsb_Slot() {
    // Not remove(): the component may be half destroyed already, and is told only on request.
    if (component_ != nullptr) {
        HostBus::instance().detach(component_);
    }
}

int Hsb_Slot::insert(Hsb_Component* component) {
    int attached = -1;
    if (component_ == nullptr) {
        guarded("attaching", [&] { attached = HostBus::instance().attach(component, address_); });
    }
    if (attached < 0) {
        return -1;
    }
    component_ = component;
    if (!guarded("inserted", [component] { component->inserted(); })) {
        remove();
        return -1;
    }
    return 0;
}

void Hsb_Slot::remove() {
    if (component_ == nullptr) {
        return;
    }
    Hsb_Component* const component = std::exchange(component_, nullptr);
    address_ = Hsb_Address{};
    HostBus::instance().detach(component);
    guarded("removed", [component] { component->removed(); });
}
