// One life of a program in the box: its threads, its time, its descriptors, and what every call of it is met with.
//
// The C library's calls that wait, tell the time or reach beyond the process come here first (the *Calls.cpp). One box
// a process, in a process that was forked for it; whoever is no thread of the box's is served by the system.
#pragma once

#include "box/Aside.h"
#include "box/BoxFile.h"
#include "box/Commands.h"
#include "box/Network.h"
#include "box/Progress.h"
#include "box/Random.h"
#include "box/Scheduler.h"
#include "box/Timeline.h"
#include "box/Times.h"
#include "box/Trouble.h"
#include "box/WakeUp.h"

#include <poll.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace box {

class FileRecord;

// How a life comes to its end.
enum class LifeEnd : std::uint32_t {
    kEnded,   // the program has come to its end, with a status
    kKilled,  // between two calls
    kPaused,  // the world wants no more of it
    kStuck,   // it can never go on
    kUnowned  // it waits in a call that the box does not own
};

class Box {
public:
    struct Settings {
        std::string root;  // where the switch's files are
        Time now = 0;
        std::int64_t calendar = kFirstSecond;  // at time 0
        std::uint64_t chance = 0;
        std::uint32_t process = 1000;  // the number that the process knows itself by
        std::uint64_t killAtCall = 0;  // 0: never
        FileRecord* record = nullptr;  // takes down what becomes of the files
        Trouble trouble;
        Progress* progress = nullptr;
    };
    using Ended = std::function<void(LifeEnd how, int status, const std::string& why)>;
    using MainWaits = std::function<void(const char* call)>;

    // The calling thread becomes the main thread. ended: told of the end, in whichever thread it comes; when it
    // returns, the process is gone. mainWaits: told when time moves while the main thread waits in a call.
    Box(const Settings& settings, Timeline& timeline, Network& network, Ended ended, MainWaits mainWaits);
    ~Box();
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;

    // The box whose thread this is; null for strangers and while the box itself is at work.
    static Box* ofCaller() {
        return active_ != nullptr && !Aside::now() && Scheduler::ownsThread() ? active_ : nullptr;
    }

    Scheduler& threads() { return threads_; }
    Timeline& timeline() { return timeline_; }
    Network& network() { return network_; }
    Commands& commands() { return commands_; }
    Random& chance() { return chance_; }
    Troubles& troubles() { return troubles_; }
    const Settings& settings() const { return settings_; }
    Time now() const { return threads_.now(); }
    std::uint64_t calls() const { return calls_; }

    // A call of this name begins, which moves bytes of this file: the life may end here, and another thread may go on.
    // The error number that the call is to fail with, or Troubles::kShort; 0: it is made.
    int call(const char* name, int file = -1);
    // A request for memory of the calling thread fails, if that is the daemon's.
    static bool memoryFails();
    // Ends the life.
    [[noreturn]] void end(LifeEnd how, int status, const std::string& why);
    // Something was said to the system's log, or on standard error.
    void tell(std::string_view who, std::string_view what) { timeline_.tell(now(), who, what); }

    // --- Descriptors of the box's own ---
    // A new descriptor for it, or -1 with errno.
    int open(std::shared_ptr<BoxFile> file);
    // The box serves this descriptor of the system's from now on.
    void adopt(int descriptor, std::shared_ptr<BoxFile> file);
    // Null when it is not one of the box's.
    std::shared_ptr<BoxFile> file(int descriptor) const;
    // Null when it is none, or the calling thread is not of a box. The box itself may be at work: a signal's handler
    // runs meanwhile.
    static WakeUp* wakeUp(int descriptor);
    // One of them has been read or written.
    static void woken() { active_->threads_.changed(); }
    // Whoever is closed need not be one of the box's.
    void close(int descriptor);

    // A file has been written: when it is closed, or this life ends, it gets the box's time, which a listing goes by.
    void written(int descriptor) { written_.insert(descriptor); }

    // Who hears each text that the daemon writes, once, whether there is room for it or not.
    void hearTexts(std::function<void(std::string_view)> listener) { listener_ = std::move(listener); }
    void hears(std::string_view text) const {
        if (listener_) {
            listener_(text);
        }
    }

    int poll(pollfd* polled, nfds_t count, int limit);
    void sleep(Time span);
    // As alarm, of which only the main thread's poll hears.
    unsigned alarm(unsigned seconds);

private:
    class PollCondition;

    BoxFile* look(int descriptor) const;
    void stamp(int descriptor);

    static inline Box* active_ = nullptr;  // changed while no other thread runs

    const Settings settings_;
    Timeline& timeline_;
    Network& network_;
    const Ended ended_;
    Random chance_;
    Troubles troubles_;
    Scheduler threads_;
    Commands commands_;
    std::function<void(std::string_view)> listener_;
    std::vector<std::shared_ptr<BoxFile>> files_;  // by their descriptors
    std::set<int> written_;
    Time alarm_ = kNever;
    std::uint64_t calls_ = 0;
    std::uint64_t writes_ = 0;
};

}  // namespace box
