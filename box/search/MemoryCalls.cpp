#include "box/search/MemoryCalls.h"

#include "box/Box.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace box {

void keepMemoryCalls() {
}

namespace {

// Before each object: whether it is the daemon's.
constexpr std::size_t kHead = alignof(std::max_align_t) > sizeof(long) ? alignof(std::max_align_t) : sizeof(long);

std::atomic<long> daemons{0};

void* memoryOf(std::size_t size) {
    if (Box::memoryFails()) {
        return nullptr;
    }
    auto* const head = static_cast<char*>(std::malloc(size + kHead));
    if (head == nullptr) {
        return nullptr;
    }
    const long isDaemons = Box::ofCaller() != nullptr && !Spared::now() ? 1 : 0;
    std::memcpy(head, &isDaemons, sizeof isDaemons);
    daemons += isDaemons;
    return head + kHead;
}

void giveBack(void* memory) {
    if (memory == nullptr) {
        return;
    }
    char* const head = static_cast<char*>(memory) - kHead;
    long isDaemons = 0;
    std::memcpy(&isDaemons, head, sizeof isDaemons);
    daemons -= isDaemons;
    std::free(head);
}

}  // namespace

long daemonsObjects() {
    return daemons;
}

}  // namespace box

static void* memoryOfObject(std::size_t size, bool /*throws*/) {
    return box::memoryOf(size);
}
static void giveBackObject(void* memory) {
    box::giveBack(memory);
}
#include "platform/posix/OwnNew.inc"
