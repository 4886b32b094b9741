// The place of one component on the bus. Main thread only.
#pragma once

#include "Hsb_Address.h"

class Hsb_Component;

class Hsb_Slot {
public:
    Hsb_Slot() = default;
    ~Hsb_Slot();
    Hsb_Slot(const Hsb_Slot&) = delete;
    Hsb_Slot& operator=(const Hsb_Slot&) = delete;

    // Puts the component on the bus and calls its inserted(), possibly before this returns. 0, or -1 on failure.
    [[nodiscard]] int insert(Hsb_Component* component);
    // Takes the component off the bus and calls its removed(); nothing when the slot is empty.
    void remove();

    // All bytes 0xFF while the slot is empty.
    const Hsb_Address& address() const { return address_; }

private:
    Hsb_Component* component_ = nullptr;  // Not owned; null while the slot is empty.
    Hsb_Address address_;
};
