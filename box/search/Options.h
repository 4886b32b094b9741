// The command line of orvBox.
#pragma once

#include "box/Times.h"
#include "box/search/Steps.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

// What may happen in a random history beside events; each is a bit.
enum Fault : std::uint32_t {
    kServerFaults = 1,  // mail servers go, come back, refuse, split and break off
    kKills = 2,         // the daemon is killed, before any call or while it waits
    kRestarts = 4,      // it is told to end
    kConfigChanges = 8,
    kRequests = 16,      // of management
    kCallFaults = 32,    // system calls of the daemon fail
    kMemoryFaults = 64,  // its requests for memory do
    kCaptures = 128,     // a profile has a capture, whose time may change
    kOddities = 256,     // requests of a wrong length, numbers written in an unusual way
    kAllFaults = 511,
    kNights = 512  // it is told to end at midnight; not one of all
};

struct Options {
    std::uint64_t seed = 1;
    std::uint32_t runs = 1;  // histories, of this seed and those that follow
    std::uint32_t days = 1;
    std::uint32_t eventsPerDay = 200;
    std::uint32_t profiles = 2;  // so many mail events: the operator's, and the service's with two recipients
    std::uint32_t faults = kAllFaults;
    std::uint32_t jobs = 1;
    double minutes = 0;         // looks for failures that long; 0: runs what is asked for
    std::uint64_t cuts = 0;     // so many states after power cuts, instead of histories
    std::uint64_t compare = 0;  // so many histories led through the model, instead
    std::uint32_t steps = 50;   // of each of these
    std::int64_t state = -1;    // this one of the seed's alone
    Time until = kNever;
    Steps skip;          // these steps of the history do not happen
    Steps spare;         // these lives begin with no kill and no failures before them
    bool first = false;  // the search ends with the first history that fails
    bool shrink = false;
    bool trace = false;
    bool help = false;
    bool version = false;
    std::string dialogue;   // which one the daemon speaks with mail servers; empty: as the environment says
    std::string directory;  // empty: a new one in memory
    std::string seeds;      // a file of histories, instead of one
    std::string figures;    // a file for what was counted
};

// False with a line that says what is wrong.
bool readOptions(int argc, const char* const* argv, Options& options, std::string& problem);
std::string usage();
// As --faults takes them.
std::string faultsText(std::uint32_t faults);

// A file of histories that have failed once: a line of options each, and behind a # its story. False with a line that
// says what is wrong, and where.
bool readSeeds(const std::string& path, std::vector<Options>& histories, std::string& problem);

}  // namespace box
