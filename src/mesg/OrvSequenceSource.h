// Where capture messages draw their sequence numbers from. Implemented above.
#pragma once

#include <cstdint>

class OrvSequenceSource {
public:
    // A number never given before, kept on flash. Any thread. Throws OrvFileError when it cannot be kept.
    virtual std::uint32_t nextSequence() = 0;

protected:
    ~OrvSequenceSource() = default;
};
