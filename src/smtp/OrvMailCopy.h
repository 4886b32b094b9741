// Keeps a copy of a composed capture mail for the developers, one file per mail.
#pragma once

#include <string>

// Writes "/tmp/output." and a number that counts the copies of this process from 1. A copy that cannot be written
// is traced and left out: neither a link in the file's place nor a second name of another file leads anywhere. Any
// thread.
void orvWriteMailCopy(const std::string& text);
