// What the sender says of a file that is not to be had, where freeing memory loses errno. A program of its own: it
// replaces the allocations.
#include "sync/OrvSyncPri.h"
#include "testing/sync/SyncFixture.h"

#include <cerrno>
#include <cstdlib>
#include <new>

// A free() may leave any errno; this one always does.
static void release(void* memory) {
    std::free(memory);
    errno = EDOM;
}

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

namespace {

class OrvSyncErrno : public SyncFixture {
protected:
    OrvSyncErrno() { fill(onHost("/file"), "x"); }
};

struct SenderCase {
    int (*operation)(OrvSyncPri& sender);
    const char* function;
    const char* message;
    int error;
};

TEST_F(OrvSyncErrno, ofTheSenderIsThatOfTheCallThatFailed) {
    const SenderCase cases[] = {
        {[](OrvSyncPri& sender) { return sender.sendFile("/missing", 1); }, "sendFile",
         "open: No such file or directory", ENOENT},
        {[](OrvSyncPri& sender) { return sender.sendFile("/file/below", 1); }, "sendFile", "open: Not a directory",
         ENOTDIR},
        {[](OrvSyncPri& sender) { return sender.sendCpFile("/missing", "/there"); }, "sendCpFile",
         "stat: No such file or directory", ENOENT},
        {[](OrvSyncPri& sender) { return sender.sendCpFile("/file/below", "/there"); }, "sendCpFile",
         "stat: Not a directory", ENOTDIR},
    };
    for (const SenderCase& c : cases) {
        OrvSyncPri sender(at(0));
        traced();

        EXPECT_EQ(c.operation(sender), -1);

        EXPECT_EQ(sender.error(), c.error);
        EXPECT_EQ(traced(), lines("OrvSyncPri", {{c.function, c.message}}));
    }
}

}  // namespace
