#include "smtp/OrvSpareEntries.h"

#include "dbg/OrvEventLog.h"

#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kTextLength = 511;

}  // namespace

void OrvSpareEntries::add(std::size_t count) {
    spares_.reserve(spares_.size() + count);
    for (; count > 0; --count) {
        OrvThreadSwLogApp::Entry entry;
        entry.text.reserve(kTextLength);
        spares_.push_back(std::make_unique<OrvThreadSwLogApp>(std::move(entry)));
    }
}

void OrvSpareEntries::shrinkTo(std::size_t count) {
    while (spares_.size() > count) {
        spares_.pop_back();
    }
}

std::unique_ptr<OrvThreadSwLogApp> OrvSpareEntries::take(const OrvLogKind& kind, const char* text) {
    if (spares_.empty()) {
        return nullptr;
    }
    std::unique_ptr<OrvThreadSwLogApp> spare = std::move(spares_.back());
    spares_.pop_back();
    OrvThreadSwLogApp::Entry& entry = spare->entry();
    entry.level = static_cast<std::uint32_t>(kind.level);
    entry.id = kind.id;
    entry.flags = kOrvOwnEntryFlags;
    entry.component = orvApplication();
    entry.text.assign(text, strnlen(text, kTextLength));
    return spare;
}
