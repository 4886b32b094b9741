#include "switchctl/commands/LogEventOptions.h"

void takeLogEvent(Command command, LogEventArguments& arguments) {
    Sw_Log_Type& record = arguments.record;
    command.number({"--type", "N", "Log type; CallHome takes 0, 2 and 3", true}, record.kind, INT32_MIN, INT32_MAX)
        .number({"--number", "N", "Message number", true}, record.number, 0, UINT32_MAX)
        .number({"--slot", "N", "Slot (-1)"}, record.slot, INT32_MIN, INT32_MAX)
        .number({"--chip", "N", "Chip (-1)"}, record.chip, INT32_MIN, INT32_MAX)
        .number({"--port", "N", "Port (-1)"}, record.port, INT32_MIN, INT32_MAX)
        .number({"--class", "N", "Component class (0)"}, record.componentClass, 0, UINT32_MAX)
        .number({"--flags", "N", "Flags (0); 4096 marks the daemon's own"}, record.flags, 0, UINT32_MAX)
        .take({"--location", "A.B[.I]", "Location numbers and index (0.0.-1)"}, arguments.location)
        .take({"--names", "X[,Y]", "Location names, up to 15 bytes each"}, arguments.names)
        .take({"--time", "SEC[.USEC]", "Seconds since 1970 (now)"}, arguments.time)
        .take({"TEXT", "", "Up to 227 bytes", true}, record.text);
}
