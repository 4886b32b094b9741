// The command line of switchd.
#pragma once

#include <string>
#include <vector>

struct SwitchdOptions {
    static const char* const HELP;

    bool help = false;
    bool version = false;
    std::string state;  // where the switch keeps what it knows

    // Arguments without the program's name. 0, or -1 with a problem that says what is wrong (options unchanged).
    [[nodiscard]] static int parse(const std::vector<std::string>& arguments, SwitchdOptions& options,
                                   std::string& problem);
};
