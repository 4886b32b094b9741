// Entries for the event log in hand before they are needed, so that what has become of a mail can be told when there is
// no memory left. Send thread only.
#pragma once

#include "catalogue/OrvLogEntry.h"
#include "thread/OrvMesg.h"

#include <cstddef>
#include <memory>
#include <vector>

class OrvSpareEntries {
public:
    // So many more; some of them may have come when it throws std::bad_alloc.
    void add(std::size_t count);
    // Gives back what is more than this.
    void shrinkTo(std::size_t count);
    std::size_t count() const { return spares_.size(); }

    // One of the daemon's own, with as much of the text as every entry of a thread holds. Null when none is in hand.
    std::unique_ptr<OrvThreadSwLogApp> take(const OrvLogKind& kind, const char* text);

private:
    std::vector<std::unique_ptr<OrvThreadSwLogApp>> spares_;
};
