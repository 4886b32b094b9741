// A test program: a thread ends itself while no memory can be had. Status 0 when the process lives on. Without
// sanitizers, which have an allocator of their own: this one replaces the C library's. "unprepared" leaves out the
// preparation, to show that it matters.
#include "thread/OrvThreadExit.h"

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

std::atomic<bool> failing{false};

void* endWithoutMemory(void* /*unused*/) {
    failing = true;
    pthread_exit(nullptr);
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) noexcept {
    return failing ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return failing ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
    return failing ? nullptr : __libc_realloc(block, size);
}
void free(void* block) noexcept {
    __libc_free(block);
}
}

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "unprepared") != 0) {
        orvPrepareThreadExit();
    }
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, endWithoutMemory, nullptr) != 0) {
        return 2;
    }
    return pthread_join(thread, nullptr) == 0 ? 0 : 3;
}
