// What the active side asks the standby to repeat: any bytes become a record, and a record survives the wire.
#include "fuzz/Target.h"
#include "sync/OrvSyncRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace orv_fuzz {

namespace {

void run(Bytes data) {
    std::array<std::uint8_t, OrvSyncRecord::kBytes> bytes{};
    std::copy_n(data.begin(), std::min(data.size(), bytes.size()), bytes.begin());
    const OrvSyncRecord record = OrvSyncRecord::decode(bytes);
    EXPECT_LT(record.path.size(), OrvSyncRecord::kPathField);
    EXPECT_LT(record.destination.size(), OrvSyncRecord::kPathField);
    EXPECT_EQ(record.path.find('\0'), std::string::npos);
    EXPECT_TRUE(record.operation == OrvSyncRecord::kMoveDirectory || record.destination.empty());
    EXPECT_TRUE(record.operation == OrvSyncRecord::kCopyFile || record.size == 0);
    const std::vector<std::uint8_t> written = record.encode();
    ASSERT_EQ(written.size(), OrvSyncRecord::kBytes);
    EXPECT_EQ(OrvSyncRecord::decode(std::span<const std::uint8_t, OrvSyncRecord::kBytes>(written)), record);
}

Seed seed(const char* name, const OrvSyncRecord& record) {
    return {name, textOf(record.encode())};
}

std::vector<Seed> seeds() {
    const std::string tree = "/ostrel/conf/orv/callHome/queues_tmp/";
    return {seed("remove_file", {OrvSyncRecord::kRemoveFile, tree + "send/m7"}),
            seed("copy_file", {OrvSyncRecord::kCopyFile, tree + "send/m7", {}, 1234}),
            seed("copy_file_of_negative_size", {OrvSyncRecord::kCopyFile, tree + "send/m7", {}, -1}),
            seed("make_directory", {OrvSyncRecord::kMakeDirectory, tree + "send"}),
            seed("move_directory", {OrvSyncRecord::kMoveDirectory, tree + "send", tree + "send.old"}),
            seed("remove_directory", {OrvSyncRecord::kRemoveDirectory, tree + std::string(400, 'x')}),
            seed("unknown", {4711, tree})};
}

}  // namespace

const Target kStandbyRecord{"standby_record", run, seeds};

}  // namespace orv_fuzz
