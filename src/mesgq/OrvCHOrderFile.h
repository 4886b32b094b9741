// A queue's order file: how many of its entries are no tests, and their numbers from head to tail. Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQQueue.h"
#include "mesgq/OrvCHQueueFiles.h"

#include <cstddef>
#include <cstdint>
#include <string>

// Writes the file anew. What fails is reported; nothing is thrown.
void updateOrderFile(OrvCHMesgQQueue& queue);

// The file behind the bytes of its count: a count cut short is the beginning of one, and an empty file none. Null when
// it is not a file of the queue's own or cannot be read: only an empty file hides the entries.
OrvFilePtr orvOpenOrderFile(const std::string& path, std::uint32_t& count, std::size_t& length);
// Reports a file that cannot be closed.
void orvCloseOrderFile(OrvFilePtr file, const std::string& path);
