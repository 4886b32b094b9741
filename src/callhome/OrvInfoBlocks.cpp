#include "callhome/OrvInfoBlocks.h"

#include "word_order.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kNameField = 36;
constexpr std::size_t kNameLimit = 32;
constexpr std::size_t kTimeField = 64;
constexpr std::size_t kTimeLimit = 63;
constexpr std::size_t kEntrySize = kNameField + 4 + kTimeField;

void appendText(std::vector<std::uint8_t>& block, const std::string& text, std::size_t limit, std::size_t field) {
    const std::size_t length = std::min(text.size(), limit);
    block.insert(block.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    block.insert(block.end(), field - length, 0);
}

}  // namespace

std::vector<std::uint8_t> orvProfileProcessedInfo(const std::vector<OrvProfileProcessed>& profiles) {
    std::vector<std::uint8_t> block;
    block.reserve(kHeaderSize + kEntrySize * std::max<std::size_t>(profiles.size(), 1));
    block.assign(kHeaderSize - 4, 0);
    appendBigEndian32(block, static_cast<std::uint32_t>(profiles.size()));
    for (const OrvProfileProcessed& profile : profiles) {
        appendText(block, profile.name, kNameLimit, kNameField);
        appendBigEndian32(block, profile.count);
        appendText(block, profile.last, kTimeLimit, kTimeField);
    }
    if (profiles.empty()) {
        block.resize(kHeaderSize + kEntrySize, 0);
    }
    return block;
}

std::vector<std::uint8_t> orvMesgQInfo(std::uint32_t spaceInUse, std::uint32_t waiting, std::uint32_t open) {
    std::vector<std::uint8_t> block(8, 0);
    appendBigEndian32(block, spaceInUse);
    appendBigEndian32(block, waiting);
    appendBigEndian32(block, open);
    return block;
}
