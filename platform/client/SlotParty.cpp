#include "platform/client/SlotParty.h"

#include "DSCallbacks.h"
#include "Hsb_Component.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/client/Speakers.h"
#include "platform/posix/guarded.h"
#include "platform/wire/DsWire.h"

#include <utility>

void SlotParty::receive(Hsb_Message& message) {
    if (!Speakers::allow(message)) {
        return;
    }
    if (message.format() == MessageFormat::DS && message.code() == DsCode::CONNECTED) {
        storeAnswered(message);
        return;
    }
    guarded("message handler", [this, &message] { component_.handle_message(&message); });
}

void SlotParty::storeAnswered(const Hsb_Message& message) {
    if (awaitingStore_ == nullptr || !decodeFields<DsConnect>(message.payload())) {
        return;
    }
    DSCallbacks* const callbacks = std::exchange(awaitingStore_, nullptr);
    guarded("DSApiReady", [callbacks] { callbacks->DSApiReady(); });
}
