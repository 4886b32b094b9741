#include "box/search/Excuses.h"

#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"

#include <algorithm>

namespace box {

namespace {

constexpr char kQueuesPart[] = "/callHome/queues/";

}  // namespace

void Excuses::logged(const OrvCatalogueMatch& entry) {
    const auto isOneOf = [&entry](const auto&... kinds) { return (entry.is(kinds) || ...); };
    using namespace orv_log;
    if (isOneOf(kEntryUnopened, kFileUnclosed, kEntryUndeleted, kRestoreEntryFailed, kRestoreEntryUnopened,
                kRestoreNotAdded, kRestoreQueueFailed, kOrderUnopened)) {
        add(entry.argument(0));
    } else if (isOneOf(kOrderUnwritten)) {
        add(entry.argument(1));
    } else if (isOneOf(kNoOrderMemory, kRestoreNoListing, kRestoreNoMemory, kRestoreListingUnclosed) ||
               (entry.is(kRestoreOrderUnopened) && entry.argument(0).ends_with("-order"))) {
        all_ = true;
    }
}

// The order file is about all of its queue's.
void Excuses::add(const std::string& path) {
    const std::size_t at = path.find(kQueuesPart);
    if (at == std::string::npos) {
        return;
    }
    std::string name = path.substr(at + sizeof kQueuesPart - 1);
    if (name.ends_with("/order") || name.ends_with("/")) {
        name.resize(name.find('/'));
    }
    names_.insert(name);
}

bool Excuses::cover(const std::string& name) const {
    return all_ || names_.contains(name) || names_.contains(name.substr(0, name.find('/')));
}

}  // namespace box
