#include "callhome/OrvInfoBlocks.h"

#include "MessageCodes.h"
#include "word_order.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kHeaderSize = ManagementSize::INFO_START + 4;
constexpr std::size_t kNameLimit = 32;
constexpr std::size_t kTimeLimit = ManagementSize::LAST_PROCESSED - 1;

void appendText(std::vector<std::uint8_t>& block, const std::string& text, std::size_t limit, std::size_t field) {
    const std::size_t length = std::min(text.size(), limit);
    block.insert(block.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    block.insert(block.end(), field - length, 0);
}

}  // namespace

std::vector<std::uint8_t> orvProfileProcessedInfo(const std::vector<OrvProfileProcessed>& profiles) {
    std::vector<std::uint8_t> block;
    block.reserve(kHeaderSize + ManagementSize::PROCESSED_ENTRY * std::max<std::size_t>(profiles.size(), 1));
    block.assign(ManagementSize::INFO_START, 0);
    appendBigEndian32(block, static_cast<std::uint32_t>(profiles.size()));
    for (const OrvProfileProcessed& profile : profiles) {
        appendText(block, profile.name, kNameLimit, ManagementSize::NAME);
        appendBigEndian32(block, profile.count);
        appendText(block, profile.last, kTimeLimit, ManagementSize::LAST_PROCESSED);
    }
    if (profiles.empty()) {
        block.resize(kHeaderSize + ManagementSize::PROCESSED_ENTRY, 0);
    }
    return block;
}

std::vector<std::uint8_t> orvMesgQInfo(std::uint32_t spaceInUse, std::uint32_t waiting, std::uint32_t open) {
    std::vector<std::uint8_t> block(ManagementSize::INFO_START, 0);
    appendBigEndian32(block, spaceInUse);
    appendBigEndian32(block, waiting);
    appendBigEndian32(block, open);
    return block;
}
