// The profiles of a read cycle, read one after the other. Main thread only.
#pragma once

#include "dsClient.h"
#include "profile/OrvCHProfile.h"
#include "profile/OrvProfileReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class OrvCHNewProfiles {
public:
    // The store must outlive this object.
    explicit OrvCHNewProfiles(dsClient& store) : store_(store) {}

    // So many new ones in place of what there was, or none when memory is short. 0, or an exception.
    int make(std::int32_t count);
    bool empty() const { return profiles_.empty(); }
    void forget();

    // The one that is being read; null when all have been.
    const OrvCHProfile* current() const;
    // Asks for its attributes. 0 or -1.
    int readCurrent();
    // One of its answers. -1 when that is of no use.
    int process(const DsBulkReply& reply);
    void goOn() { ++current_; }
    // All of them, read; they are somebody else's from now on.
    std::vector<std::unique_ptr<OrvCHProfile>> take();

private:
    dsClient& store_;
    std::vector<std::unique_ptr<OrvCHProfile>> profiles_;
    std::size_t current_ = 0;
    std::optional<OrvProfileReader> reader_;  // of the current one
};
