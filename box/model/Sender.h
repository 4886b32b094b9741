// Which mail server is used, when the next message is tried, and what becomes of it.
//
// Rules: docs/behaviour.md, "Sending".
#pragma once

#include "box/model/Dialogue.h"
#include "box/model/Queue.h"

#include <optional>

namespace model {

class Sender {
public:
    Sender(Queue& queue, const Identity& identity, Outside& outside)
        : queue_(queue), identity_(identity), outside_(outside) {}

    const Servers& servers() const { return servers_; }
    // The servers have been read again: waiting ends, the primary is preferred.
    void readServers();
    void addressKnown() { addressKnown_ = true; }
    void second();
    void stop() { stopping_ = true; }
    bool sending() const { return dialogue_.has_value(); }
    // False when there is no other valid server.
    bool changeOver();

    // The dialogue under way; null when there is none.
    Dialogue* dialogue() { return dialogue_ ? &*dialogue_ : nullptr; }
    // To be called after each step of it: when it is over, its message is given back.
    void settle();

private:
    void tryStart();
    void startDialogue();
    void giveBackFailed();
    void giveBackSent();
    unsigned delay() const;
    const Server& active() const { return primaryActive_ ? servers_.primary : servers_.secondary; }
    void publish();

    Queue& queue_;
    const Identity& identity_;
    Outside& outside_;
    Servers servers_;
    bool primaryActive_ = true;
    bool addressKnown_ = false;
    bool stopping_ = false;
    bool retrying_ = false;
    unsigned countdown_ = 0;
    unsigned attempts_ = 0;
    Entry* entry_ = nullptr;
    std::optional<Dialogue> dialogue_;
};

}  // namespace model
