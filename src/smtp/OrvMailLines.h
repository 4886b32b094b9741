// The labelled lines that several mail layouts share, in their order.
#pragma once

#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailSource.h"

// The format that asks for every line, in a fixed order.
inline constexpr char kOrvFormatTsc1[] = "Tsc1";
// What opens a readable part of a mail in parts.
inline constexpr char kOrvTextPartHeader[] = "Content-Type: TEXT/plain; charset=US-ASCII; format=flowed\r\n\r\n";

// The header block of either kind, up to and including the empty lines that end it. Dated now.
void orvAddMailHeader(OrvMailBuffer& buffer, const OrvMailSource& source);

// Serial number, only when there is one.
void orvAddSerialNumber(OrvMailBuffer& buffer, const OrvMailSource& source);
// Duplicate count in decimal, always.
void orvAddDuplicateCount(OrvMailBuffer& buffer, const OrvMailSource& source);
// SwitchName, SwitchIP, SwitchWWN, Text, ID and Time; the time is the last duplicate's once there is one.
void orvAddEvent(OrvMailBuffer& buffer, const OrvMailSource& source, OrvMailBuffer::Empty empty);
// Level, Blade, ASIC, Port, vFabric, Application and Component of a log event.
void orvAddEventDetails(OrvMailBuffer& buffer, const OrvMailSource& source, OrvMailBuffer::Empty empty);
