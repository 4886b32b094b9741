#include "testing/Uncatalogued.h"

#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"

#include <sstream>
#include <utility>

namespace {

// A room's own tests may have no component at all.
constexpr const char* DAEMONS_NAMES[] = {"OrvApp", ""};

std::string first;
bool acceptsAll = false;

bool isDaemons(const LogEntry& entry) {
    const bool named = entry.component == DAEMONS_NAMES[0] || entry.component == DAEMONS_NAMES[1];
    return named && entry.flags == kOrvOwnEntryFlags;
}

}  // namespace

void Uncatalogued::forget() {
    first.clear();
    acceptsAll = false;
}

void Uncatalogued::take(const LogEntry& entry) {
    if (acceptsAll || !first.empty() || !isDaemons(entry) ||
        orvFindInCatalogue(entry.level, entry.number, entry.text)) {
        return;
    }
    std::ostringstream text;
    text << "not in the daemon's catalogue: level " << entry.level << " id 0x" << std::hex << entry.number << " \""
         << entry.text << '"';
    first = text.str();
}

std::string Uncatalogued::next() {
    return std::exchange(first, "");
}

void Uncatalogued::acceptAll() {
    acceptsAll = true;
}
