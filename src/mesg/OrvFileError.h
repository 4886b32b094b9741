// A file that the daemon cannot do without could not be read or written; what() is the whole text.
#pragma once

#include <stdexcept>

class OrvFileError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
