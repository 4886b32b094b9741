// A party on the bus: has a name, receives messages once it stands in a slot.
//
// The bus calls every operation on the main thread and owns nothing here; a component outlives its slot's
// insertion. Operations without a body in the daemon keep the defaults of the platform.
#pragma once

#include <cstdint>

class Hsb_Message;

class Hsb_Component {
public:
    virtual ~Hsb_Component() = default;

    // Copies the name, without terminator, into the buffer and returns its length; -1 when it does not fit.
    virtual int component_name(char* buffer, int length) = 0;
    // Bytes of checkpoint data that the component wants kept for it.
    virtual int checkpoint_size() { return 0; }
    // Takes one message; it lives only for the call. Returns 0, or -1 when it could not be used.
    virtual int handle_message(Hsb_Message* message) = 0;
    // 1: the bus frees each message after handle_message.
    virtual int bus_frees_messages() { return 1; }
    virtual int prepare_for_checkpoint() { return 0; }
    virtual int checkpoint_on_reset() { return 0; }
    virtual int notify_on_shutdown() { return 0; }
    // The component now stands in its slot and may send.
    virtual int inserted() { return 0; }
    // The component has left its slot.
    virtual int removed() { return 0; }
    virtual int msg_complete(Hsb_Message* /*message*/) { return 0; }
    virtual int comp_debug(int /*level*/) { return 0; }
};
