// The catalogue of the event log with all its columns, and which row an entry is of. For tools and tests: the daemon
// itself needs only the constants of OrvLogEntries.h. Any thread.
#pragma once

#include "catalogue/OrvLogEntry.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct OrvCatalogueRow {
    const char* name;
    const char* section;
    bool alarm;
    int level;
    std::uint32_t id;
    const char* text;  // a printf format
    const char* since;
    const char* cause;
    const char* remedy;  // empty: nothing to be done

    // It tells of nothing unusual: its cause says so in its first word.
    bool isOrdinary() const { return std::string_view(cause).starts_with("Ordinary:"); }
};

std::span<const OrvCatalogueRow> orvCatalogue();

// An entry that was found in the catalogue, and what stands in the places of its text, in order: fewer than the text
// has places where the entry was cut.
struct OrvCatalogueMatch {
    const OrvCatalogueRow& row;
    std::vector<std::string> arguments;

    bool is(const OrvLogKind& kind) const;
    // "" for one that was cut off.
    std::string argument(std::size_t place) const { return place < arguments.size() ? arguments[place] : ""; }
};
// None when no row has this level, this number and this text. A text of kOrvCutEntry bytes or more may have been cut.
std::optional<OrvCatalogueMatch> orvFindInCatalogue(int level, std::uint32_t id, std::string_view text);
// The same; an entry with a number of its own counts by that, without arguments, when its words are those of another
// release.
std::optional<OrvCatalogueMatch> orvRecognise(int level, std::uint32_t id, std::string_view text);
inline constexpr std::size_t kOrvCutEntry = 511;

// docs/event-log.md as it ought to be.
std::string orvEventLogPage();
