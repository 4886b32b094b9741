// The queue's files as they must stand whenever the daemon rests: what an order file lists is there, and what is there
// is listed.
#pragma once

#include "box/search/Excuses.h"

#include <string>

namespace box {

// What is wrong with the queues' files below root, but for those that are excused; "" when nothing is.
std::string queueFilesProblem(const std::string& root, const Excuses& excuses = {});
// How many entries of all queues have a file.
unsigned entriesWithFiles(const std::string& root);
// How many of these are captures, whose files no start can read.
unsigned captureEntries(const std::string& root);
// How many entries of the send queue have a file.
unsigned waitingEntries(const std::string& root);

}  // namespace box
