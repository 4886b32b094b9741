#include "testing/app/WatchedSlot.h"

#include "Hsb_Component.h"
#include "Hsb_Slot.h"
#include "platform/client/HostBus.h"

#include <utility>

Hsb_Slot::~Hsb_Slot() {
    if (component_ != nullptr) {
        HostBus::instance().detach(component_);
    }
}

int Hsb_Slot::insert(Hsb_Component* component) {
    if (HostBus::instance().attach(component, address_) < 0) {
        return -1;
    }
    component_ = component;
    component->inserted();
    return !WatchedSlot::inserted || WatchedSlot::inserted(component) ? 0 : -1;
}

void Hsb_Slot::remove() {
    if (Hsb_Component* const component = std::exchange(component_, nullptr)) {
        HostBus::instance().detach(component);
        component->removed();
    }
}
