// The type data of a log event message: how severe it is and where on the switch it happened.
//
// Plain data. One thread at a time, except under the lock of the message that owns it.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>

struct Sw_Log_Type;

struct LogEventData {
    std::int32_t Level = 0;  // OrvLevel.h
    std::string Blade;       // "Blade: " and the slot
    std::string ASIC;        // chip.port
    std::string Port;
    std::string VID;  // only ever filled from a file
    std::string App;  // component, "Orv" for the daemon's own messages
    std::string Components;
    std::uint8_t Reserved = 0;
    bool LevelRestored = false;      // a level has been read back
    std::int32_t RestoreStatus = 0;  // -1 once reading back an element has failed

    // Fills everything from a switch log record; text is the message's, which takes part in the level.
    void extract(const Sw_Log_Type& record, const std::string& text);

    // What makes two log events duplicates of each other, but for the message's text.
    std::string duplicateKey() const;

    // Bytes that this part takes in a message file, estimated: empty elements count although they are not written.
    std::int32_t bytesToSave() const;
    void save(std::string& file) const;
    // Reads the element that tag opens, if it is one of this part's. False when it is not and nothing was read;
    // a failed read is true with RestoreStatus -1.
    bool restore(std::string_view tag, std::istream& stream);

    void probe() const;
};
