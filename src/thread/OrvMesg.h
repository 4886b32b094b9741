// The daemon's messages between threads. One thread at a time; a queue owns them in between.
#pragma once

#include "thread/MtMessage.h"

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
