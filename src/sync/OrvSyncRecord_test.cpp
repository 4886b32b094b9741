// The record on the wire, byte by byte, on whatever processor this runs.
#include "sync/OrvSyncRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace {

using namespace std::string_literals;
using Bytes = std::array<std::uint8_t, OrvSyncRecord::kBytes>;

std::string wire(const OrvSyncRecord& record) {
    const std::vector<std::uint8_t> bytes = record.encode();
    return {bytes.begin(), bytes.end()};
}

OrvSyncRecord decoded(const std::string& text) {
    Bytes bytes{};
    EXPECT_EQ(text.size(), bytes.size());
    std::copy_n(text.begin(), bytes.size(), bytes.begin());
    return OrvSyncRecord::decode(bytes);
}

std::string field(std::string text, std::size_t size) {
    text.resize(size, '\0');
    return text;
}

struct RecordRow {
    const char* name;
    OrvSyncRecord record;
    std::string bytes;
};

const RecordRow kRecordRows[] = {
    {"remove file", {.operation = 0, .path = "/a/file"}, "\0\0\0\0"s + field("/a/file", 512)},
    {"copy file",
     {.operation = 1, .path = "/a/file", .size = 0x01020304},
     "\0\0\0\1"s + field("/a/file", 256) + "\1\2\3\4"s + field("", 252)},
    {"copy empty file", {.operation = 1, .path = "/a/file", .size = 0}, "\0\0\0\1"s + field("/a/file", 512)},
    {"copy the largest file",
     {.operation = 1, .path = "/a/file", .size = 2147483647},
     "\0\0\0\1"s + field("/a/file", 256) + "\x7F\xFF\xFF\xFF"s + field("", 252)},
    {"copy with a negative size",
     {.operation = 1, .path = "/a/file", .size = -2},
     "\0\0\0\1"s + field("/a/file", 256) + "\xFF\xFF\xFF\xFE"s + field("", 252)},
    {"make directory", {.operation = 2, .path = "/a/dir"}, "\0\0\0\2"s + field("/a/dir", 512)},
    {"move directory",
     {.operation = 3, .path = "/a/dir", .destination = "/b"},
     "\0\0\0\3"s + field("/a/dir", 256) + field("/b", 256)},
    {"remove directory", {.operation = 4, .path = "/a/dir"}, "\0\0\0\4"s + field("/a/dir", 512)},
    {"an operation that is none", {.operation = 0x80000005, .path = "/a"}, "\x80\0\0\5"s + field("/a", 512)},
    {"no path", {.operation = 2, .path = ""}, "\0\0\0\2"s + field("", 512)},
};

TEST(OrvSyncRecord, standsOnTheWireInBigEndianOrder) {
    for (const RecordRow& row : kRecordRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(wire(row.record), row.bytes);
    }
}

TEST(OrvSyncRecord, isReadAsItWasWritten) {
    for (const RecordRow& row : kRecordRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(decoded(row.bytes), row.record);
    }
}

TEST(OrvSyncRecord, carriesSizeAndDestinationInTheSamePlaceButNeverTogether) {
    const OrvSyncRecord copy{.operation = 1, .path = "/a", .destination = "/b", .size = 7};
    const OrvSyncRecord move{.operation = 3, .path = "/a", .destination = "/b", .size = 7};
    const OrvSyncRecord remove{.operation = 0, .path = "/a", .destination = "/b", .size = 7};

    EXPECT_EQ(wire(copy), "\0\0\0\1"s + field("/a", 256) + "\0\0\0\7"s + field("", 252));
    EXPECT_EQ(wire(move), "\0\0\0\3"s + field("/a", 256) + field("/b", 256));
    EXPECT_EQ(wire(remove), "\0\0\0\0"s + field("/a", 512));
}

TEST(OrvSyncRecord, cutsPathsAfter255Characters) {
    for (const std::size_t length : {254u, 255u, 256u, 300u}) {
        SCOPED_TRACE(length);
        const std::string source(length, 's');
        const std::string destination(length, 'd');
        const std::size_t kept = std::min<std::size_t>(length, 255);

        EXPECT_EQ(wire({.operation = 3, .path = source, .destination = destination}),
                  "\0\0\0\3"s + field(source.substr(0, kept), 256) + field(destination.substr(0, kept), 256));
        EXPECT_EQ(wire({.operation = 1, .path = source, .size = 9}),
                  "\0\0\0\1"s + field(source.substr(0, kept), 256) + "\0\0\0\x9"s + field("", 252));
    }
}

TEST(OrvSyncRecord, readsNoPathBeyondItsFieldWhateverTheLastByteIs) {
    const OrvSyncRecord record = decoded("\0\0\0\3"s + std::string(256, 's') + std::string(256, 'd'));

    EXPECT_EQ(record.path, std::string(255, 's'));
    EXPECT_EQ(record.destination, std::string(255, 'd'));
}

TEST(OrvSyncRecord, endsAPathAtItsFirstNul) {
    EXPECT_EQ(decoded("\0\0\0\2"s + field("/a\0/b"s, 512)).path, "/a");
    EXPECT_EQ(wire({.operation = 2, .path = "/a"}), wire(decoded("\0\0\0\2"s + field("/a", 512))));
}

}  // namespace
