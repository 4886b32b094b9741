// What the event commands make of their arguments. Everything here throws UsageError for what makes no sense.
#pragma once

#include "Sw_Log_Type.h"
#include "switchd/services/OperatorWire.h"

#include <string>
#include <vector>

struct LogEventArguments {
    Sw_Log_Type record;    // All but the three below.
    std::string location;  // A.B[.I]
    std::string names;     // X[,Y]
    std::string time;      // SEC[.USEC]; empty: when it is published.
};

LogRecord logRecordFrom(const LogEventArguments& arguments);

// Why CallHome takes no notice of such a record; "" when it does.
std::string whyNobodyIsMailed(const Sw_Log_Type& record);

// Each an IPv4 or IPv6 address.
void checkAddresses(const std::vector<std::string>& addresses);

// Hexadecimal digits as bytes.
WireBytes bytesFrom(const std::string& hex);
