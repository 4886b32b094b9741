// The capture messages' sequence numbers, kept in "capture.seq" so that none is given twice.
//
// The file holds the last number given, one word in the processor's own byte order. Any thread draws numbers: the
// capture thread for new messages, the main thread for copies.
#pragma once

#include "base/OrvMutex.h"
#include "mesg/OrvSequenceSource.h"

#include <cstdint>

class OrvCaptureSequence final : public OrvSequenceSource {
public:
    // Reads the file, or creates it with 0. Throws OrvFileError when it cannot be read or created.
    OrvCaptureSequence();

    // Throws OrvFileError, with errno telling why, when the number cannot be kept; it is not given again either.
    std::uint32_t nextSequence() override ORV_EXCLUDES(lock_);
    // The number given last.
    std::uint32_t last() const ORV_EXCLUDES(lock_);

private:
    void readSequence() ORV_REQUIRES(lock_);
    void writeSequence() const ORV_REQUIRES(lock_);

    mutable Mt::Mutex lock_;
    std::uint32_t sequence_ ORV_GUARDED_BY(lock_) = 0;
};
