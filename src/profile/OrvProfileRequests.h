// What the readers of a profile ask of the attribute store. Main thread only.
#pragma once

#include "catalogue/OrvLogEntry.h"

#include <cstdint>
#include <string>
#include <vector>

class dsClient;

// Asks for these keys under a request id. 0, or -1, traced and logged on behalf of the caller.
int orvReadProfileAttributes(dsClient& store, std::uint32_t requestId, const std::vector<std::string>& keys,
                             const char* caller, const OrvLogEntry<>& failure);
// Tells the controller, by way of the store, that a profile has been read. 0, or -1, logged.
int orvWriteProfileMarker(dsClient& store);
