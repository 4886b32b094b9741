// One object of plain parts in memory that this process shares with its children.
#pragma once

#include <sys/mman.h>

#include <cerrno>
#include <new>
#include <system_error>

template <typename Thing>
class Shared {
public:
    Shared() {
        void* const memory = ::mmap(nullptr, sizeof(Thing), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        thing_ = new (memory) Thing;
    }
    ~Shared() {
        thing_->~Thing();
        ::munmap(thing_, sizeof(Thing));
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Thing& operator*() const { return *thing_; }
    Thing* operator->() const { return thing_; }

private:
    Thing* thing_;
};
