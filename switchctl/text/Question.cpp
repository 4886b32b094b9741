#include "switchctl/text/Question.h"

#include <strings.h>
#include <unistd.h>

#include <cerrno>

namespace {

// A line of standard input, without its end; what there is of it at the end of the input.
std::string readLine() {
    constexpr std::size_t LONGEST = 1024;
    std::string line;
    char byte = '\0';
    while (line.size() < LONGEST) {
        const ssize_t got = ::read(STDIN_FILENO, &byte, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0 || byte == '\n') {
            break;
        }
        line += byte;
    }
    return line;
}

}  // namespace

bool Question::canAsk() {
    return isatty(STDIN_FILENO) == 1;
}

bool Question::yes(std::ostream& terminal, const std::string& question) {
    terminal << question << " [y/N] " << std::flush;
    const std::string answer = readLine();
    return strcasecmp(answer.c_str(), "y") == 0 || strcasecmp(answer.c_str(), "yes") == 0;
}
