// Test support: stands in for the switch's event log and keeps what was written to it. A test fails when the daemon
// writes what no row of its catalogue describes.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

class Hsb_Component;

struct RecordedEntry {
    bool alarm = false;
    int level = 0;
    std::uint32_t id = 0;
    std::vector<int> places;  // slot, chip, port, spare
    std::uint32_t flags = 0;
    Hsb_Component* component = nullptr;
    std::string text;

    friend bool operator==(const RecordedEntry&, const RecordedEntry&) = default;
    friend std::ostream& operator<<(std::ostream& out, const RecordedEntry& entry) {
        out << (entry.alarm ? "alarm " : "entry ") << entry.level << " " << std::hex << entry.id << std::dec;
        for (const int place : entry.places) {
            out << " " << place;
        }
        return out << " flags " << entry.flags << " " << entry.component << " \"" << entry.text << "\"";
    }
};

// Entries and alarms in the order written. Of the thread that wrote them; cleared by each test that looks.
std::vector<RecordedEntry>& recordedEventLog();

// Whether every call finds no memory and throws, on this thread.
bool& eventLogWithoutMemory();
