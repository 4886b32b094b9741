// Where capture messages draw their sequence numbers from. Implemented above.
#pragma once

#include <cstdint>
#include <stdexcept>

// A file that the daemon cannot do without could not be read or written; what() is the whole text.
class OrvFileError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class OrvSequenceSource {
public:
    // A number never given before, kept on flash. Any thread. Throws OrvFileError when it cannot be kept.
    virtual std::uint32_t nextSequence() = 0;

protected:
    ~OrvSequenceSource() = default;
};
