// The shell commands that the daemon runs, done by the box itself: a real one would take the machine's time and files'
// real dates.
//
// Known are the listing of a queue, the support command and the compressor. Each takes a while, and its effect is there
// when it ends.
#pragma once

#include "box/Random.h"
#include "box/Times.h"

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace box {

class Commands {
public:
    // root: where the switch's files are on this machine.
    explicit Commands(std::string root) : root_(std::move(root)) {}

    // The words of a command line, quotes taken off.
    static std::vector<std::string> words(const std::string& line);

    // Starts it; 0 when the box does not know such a command.
    pid_t start(const std::string& line, Time now, Random& chance);
    bool known(pid_t process) const { return running_.count(process) > 0; }
    // When it ends; the first time that this is past, it does what it is for.
    Time endOf(pid_t process) const { return running_.at(process).end; }
    void finish(pid_t process);
    // It ends now, undone.
    void kill(pid_t process, Time now);
    // Its wait status; it is forgotten.
    int reap(pid_t process);

private:
    struct Running {
        std::vector<std::string> words;
        Time end = 0;
        bool done = false;
        int status = 0;
    };

    int list(const std::string& directory, const std::string& target) const;
    int showSupport(Time now) const;
    int compress(const std::string& source, const std::string& target) const;
    int run(const Running& command) const;

    const std::string root_;
    std::map<pid_t, Running> running_;
    pid_t last_ = 30000;
};

// A gzip file that holds the bytes as they are, with no name and no date.
std::string gzipStored(const std::string& bytes);

}  // namespace box
