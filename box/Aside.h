// While one of these lives, this thread's calls are the box's own: they go to the system, and nobody else's turn comes.
#pragma once

namespace box {

class Aside {
public:
    Aside() { ++depth; }
    ~Aside() { --depth; }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

    static bool now() { return depth > 0; }

private:
    static inline thread_local int depth = 0;
};

}  // namespace box
