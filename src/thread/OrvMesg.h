// The daemon's messages between threads. One thread at a time; a queue owns them in between.
#pragma once

#include "thread/MtQueue.h"

#include <cstdint>
#include <string>
#include <utility>

class Hsb_Component;

class OrvMesg : public Mt::Message {
public:
    using Message::Message;
};

// From a worker thread to the main thread.
class OrvToMainMesg : public OrvMesg {
public:
    using OrvMesg::OrvMesg;
};

// From the main thread to a worker thread.
class OrvToThreadMesg : public OrvMesg {
public:
    using OrvMesg::OrvMesg;
};

// A worker's request that the main thread write an entry to the event log.
class OrvThreadSwLogApp : public OrvToMainMesg {
public:
    static constexpr std::uint32_t kCode = 3;

    // What app_log gets; its fourth and sixth arguments are always -1.
    struct Entry {
        std::uint32_t level = 0;
        std::uint32_t id = 0;
        int arg1 = -1;
        int arg2 = -1;
        std::uint32_t flags = 0;
        Hsb_Component* component = nullptr;  // not owned
        std::string text;
    };

    explicit OrvThreadSwLogApp(Entry entry) : OrvToMainMesg(kCode), entry_(std::move(entry)) {}

    const Entry& entry() const { return entry_; }
    // To be filled in while the request is its maker's.
    Entry& entry() { return entry_; }

private:
    Entry entry_;
};
