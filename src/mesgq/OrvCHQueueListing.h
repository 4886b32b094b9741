// The names of the entries' files in a queue's directory, newest first, as the shell lists them into a file of our own.
//
// No link on the way is followed, neither to the directory nor to the listing. Main thread only.
#pragma once

#include "mesgq/OrvCHQueueFiles.h"

#include <cstdio>

// A name of more than ten digits comes in pieces.
inline constexpr int kOrvListLine = 12;

// Null, reported, when there is no listing to be had. May throw std::bad_alloc, before anything is reported.
OrvFilePtr orvOpenListing(const char* dir);
// The next line of the listing, or the next piece of a longer one. Null at the end.
const char* orvNextListed(std::FILE& list, char (&line)[kOrvListLine]);
// Closes and removes the listing; reports what fails.
void orvCloseListing(OrvFilePtr list);
