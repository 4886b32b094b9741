// What each version has left on flash that wrote anything in another form, kept by versions and byte orders in
// testing/mesgq/formats: no later one may lose it.
//
// ORV_WRITE_FORMATS=DIRECTORY has the tests that write these files leave them there, in their processor's order.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class TempRoot;

// What lies below /ostrel/conf/orv/callHome, a directory for each version and order, the newest version last.
std::vector<std::filesystem::path> keptFormats();
// That of the newest version and this processor's order.
std::filesystem::path newestKeptFormat();
// In place of what this switch has kept.
void putKeptFormat(const TempRoot& root, const std::filesystem::path& format);
// "big_endian" or "little_endian": this processor's.
std::string ownByteOrder();
// A copy of what this switch has kept below the call-home directory under that name, when that is asked for.
void writeFormat(const TempRoot& root, const std::string& name);

std::string contentOf(const std::filesystem::path& file);
