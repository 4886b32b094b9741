#include "switchctl/ProbeTrace.h"

#include "host_root.h"
#include "platform/wire/MessageCodes.h"
#include "switchctl/Errors.h"
#include "switchctl/Management.h"
#include "switchctl/Text.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

constexpr const char* MAIN_TRACE = "/tmp/orv.out.Main";
// A record begins with date, time and thread, as in 11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry, and may
// have further lines.
constexpr const char* FIRST_RECORD = " OrvCallHome probe: Entry";
constexpr const char* LAST_RECORD = " OrvCHMesgCommon probe: ";

bool beginsRecord(const std::string& text, std::size_t line) {
    constexpr std::string_view DATE = "dd/dd/dddd ";
    for (std::size_t index = 0; index < DATE.size(); ++index) {
        const char c = line + index < text.size() ? text[line + index] : '\0';
        if (DATE[index] == 'd' ? c < '0' || c > '9' : c != DATE[index]) {
            return false;
        }
    }
    return true;
}

// Where the record after the one at this place begins, or the text ends.
std::size_t nextRecord(const std::string& text, std::size_t place) {
    do {
        const std::size_t lineFeed = text.find('\n', place);
        place = lineFeed == std::string::npos ? text.size() : lineFeed + 1;
    } while (place < text.size() && !beginsRecord(text, place));
    return place;
}

// Where the first record that has the words in its first line begins.
std::size_t findRecord(const std::string& text, std::string_view words, std::size_t place) {
    for (; place < text.size(); place = nextRecord(text, place)) {
        const std::string_view line(text.data() + place, std::min(text.find('\n', place), text.size()) - place);
        if (beginsRecord(text, place) && line.find(words) != std::string_view::npos) {
            return place;
        }
    }
    return std::string::npos;
}

bool readFrom(const std::string& file, off_t offset, std::string& text) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream.seekg(offset)) {
        return false;
    }
    text.append(std::istreambuf_iterator<char>(stream), {});
    return !stream.bad();
}

}  // namespace

std::string ProbeTrace::generation(int number) const {
    return number == 0 ? file_ : file_ + "." + std::to_string(number);
}

void ProbeTrace::mark() {
    struct stat status {};
    marked_ = stat(file_.c_str(), &status) == 0;
    inode_ = status.st_ino;
    size_ = status.st_size;
}

int ProbeTrace::readSince(std::string& text) const {
    int oldest = GENERATIONS;
    off_t offset = 0;
    for (int number = 0; number <= GENERATIONS; ++number) {
        struct stat status {};
        const bool exists = stat(generation(number).c_str(), &status) == 0;
        if (exists && marked_ && status.st_ino == inode_ && status.st_size >= size_) {
            oldest = number;
            offset = size_;
            break;
        }
        if (!exists) {
            oldest = number - 1;
            break;
        }
    }
    std::string result;
    for (int number = oldest; number >= 0; --number) {
        if (!readFrom(generation(number), number == oldest ? offset : 0, result)) {
            return -1;
        }
    }
    if (oldest < 0) {
        return -1;
    }
    text = result;
    return 0;
}

std::optional<std::string> ProbeTrace::probeIn(const std::string& text) {
    const std::size_t entry = findRecord(text, FIRST_RECORD, 0);
    const std::size_t last = entry == std::string::npos ? entry : findRecord(text, LAST_RECORD, entry);
    if (last == std::string::npos) {
        return std::nullopt;
    }
    return text.substr(entry, nextRecord(text, last) - entry);
}

std::map<std::string, std::string> ProbeTrace::valuesIn(const std::string& probe) {
    std::map<std::string, std::string> values;
    for (const std::string& line : Text::split(probe, '\n')) {
        const std::size_t equals = line.find(" = ");
        if (equals != std::string::npos) {
            values.emplace(Text::trim(line.substr(0, equals)), Text::trim(line.substr(equals + 3)));
        }
    }
    return values;
}

std::string ProbeTrace::ask(Session& session) {
    const std::string file = host_root() + MAIN_TRACE;
    ProbeTrace trace(file);
    trace.mark();
    session.client.call(OperatorCode::PROBE, ProbeRequest{Management::DAEMON, ProbeCode::DUMP_STATE}.encode(),
                        Management::DAEMON);
    std::string text;
    if (trace.readSince(text) < 0) {
        throw Refused("orvApp has answered, but its trace " + file + " cannot be read: " + std::strerror(errno));
    }
    auto probe = probeIn(text);
    if (!probe) {
        throw Refused("orvApp has answered, but traced nothing in " + file + "; is HSB_ROOT the daemon's?");
    }
    return std::move(*probe);
}
