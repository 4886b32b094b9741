// A descriptor that only the box knows: a connection to a model mail server, or the world's clock.
#pragma once

#include "box/Times.h"

namespace box {

class BoxFile {
public:
    virtual ~BoxFile() = default;
    // As poll tells: POLLIN, POLLOUT, POLLERR, POLLHUP.
    virtual short ready(Time now) const = 0;
    // When that changes next without anybody's doing.
    virtual Time due(Time now) const = 0;
};

}  // namespace box
