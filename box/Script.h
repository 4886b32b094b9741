// What happens to a switch, and when: the timetable of a history, which goes on across lives.
#pragma once

#include "box/Network.h"
#include "box/Times.h"
#include "box/Trouble.h"
#include "switchd/store/LogEntry.h"

#include <cstdint>
#include <string>
#include <string_view>

class FieldReader;
class FieldWriter;

namespace box {

class FileRecord;
class Life;
enum class LifeEnd : std::uint32_t;

class Script {
public:
    virtual ~Script() = default;

    // When it wants its next step; kNever: it is over, and the history with it.
    virtual Time next() const = 0;
    // On the daemon's main thread, between two turns of its loop.
    virtual void step(Life& life) = 0;
    // A life begins, with the files below root.
    virtual void begins(const std::string& /*root*/) {}
    // The call before which the life that begins is killed; 0: none.
    virtual std::uint64_t killAtCall() { return 0; }
    // What fails in it from its beginning on.
    virtual Trouble trouble() { return {}; }

    // Takes down what becomes of the daemon's files; null: nobody does.
    virtual FileRecord* record() { return nullptr; }

    // What the world sees of the daemon, in whichever of its threads that happens.
    virtual void mailTaken(Life& /*life*/, const MailServer& /*server*/, const Mail& /*mail*/) {}
    virtual void logged(Life& /*life*/, const LogEntry& /*entry*/) {}
    // The daemon writes a text: a trace, for example, or a line of an entry's file.
    virtual void written(Life& /*life*/, std::string_view /*text*/) {}
    virtual void clientSteps(Life& /*life*/, ClientStep /*step*/, std::string_view /*what*/, Time /*at*/) {}

    // Time moves while the daemon's main thread waits in this call.
    virtual void mainWaits(Life& /*life*/, const char* /*call*/) {}

    // The life ends here, in whichever of its threads that happens.
    virtual void ended(Life& /*life*/, LifeEnd /*how*/) {}

    // Its state, from life to life.
    virtual void encode(FieldWriter& out) const = 0;
    virtual void decode(FieldReader& in) = 0;
};

}  // namespace box
