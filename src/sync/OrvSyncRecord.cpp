#include "sync/OrvSyncRecord.h"

#include "base/OrvText.h"
#include "word_order.h"

#include <string_view>

namespace {

constexpr std::size_t kPathOffset = 4;
constexpr std::size_t kSecondOffset = kPathOffset + OrvSyncRecord::kPathField;
constexpr std::size_t kMostOfPath = OrvSyncRecord::kPathField - 1;

void appendPath(std::vector<std::uint8_t>& bytes, std::string_view path) {
    const std::string_view kept = path.substr(0, kMostOfPath);
    bytes.insert(bytes.end(), kept.begin(), kept.end());
}

}  // namespace

std::vector<std::uint8_t> OrvSyncRecord::encode() const {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(kBytes);
    appendBigEndian32(bytes, operation);
    appendPath(bytes, path);
    bytes.resize(kSecondOffset, 0);
    if (operation == kCopyFile) {
        appendBigEndian32(bytes, static_cast<std::uint32_t>(size));
    } else if (operation == kMoveDirectory) {
        appendPath(bytes, destination);
    }
    bytes.resize(kBytes, 0);
    return bytes;
}

OrvSyncRecord OrvSyncRecord::decode(std::span<const std::uint8_t, kBytes> bytes) {
    OrvSyncRecord record{.operation = bigEndian32(bytes),
                         .path = orvTextUpToNul(bytes.subspan(kPathOffset, kMostOfPath))};
    if (record.operation == kCopyFile) {
        record.size = static_cast<std::int32_t>(bigEndian32(bytes.subspan(kSecondOffset)));
    } else if (record.operation == kMoveDirectory) {
        record.destination = orvTextUpToNul(bytes.subspan(kSecondOffset, kMostOfPath));
    }
    return record;
}
