// An entry's file, written as the entry comes, changes and goes, and with it its queue's order file. What fails is
// reported and changes nothing else; nothing here throws. Main thread only.
#pragma once

#include "mesgq/OrvCHMesgQQueue.h"

// Writes the message, under its lock, the order and the entry's state. Nothing for a test entry. 0.
int saveEntryToFile(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) ORV_EXCLUDES(entry.message->lock());
// Of an entry that has left the queue: the order without it, then its file goes. Nothing for an entry without one. 0,
// or -1 when the file stays.
int deleteEntryFile(const OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue);
