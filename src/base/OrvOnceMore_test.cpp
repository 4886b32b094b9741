#include "base/OrvSteps.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <vector>

namespace {

// Fails with each error in turn, then succeeds with 7.
class Failing {
public:
    explicit Failing(std::vector<int> errors) : errors_(std::move(errors)) {}
    int operator()() {
        ++calls;
        if (calls <= errors_.size()) {
            errno = errors_[calls - 1];
            return -1;
        }
        return 7;
    }
    std::size_t calls = 0;

private:
    std::vector<int> errors_;
};

TEST(OrvOnceMore, callsOnceWhatSucceeds) {
    Failing call({});
    EXPECT_EQ(orvOnceMore([&] { return call(); }), 7);
    EXPECT_EQ(call.calls, 1u);
}

TEST(OrvOnceMore, triesAgainWhatMayHavePassed) {
    for (const int error : {EINTR, EAGAIN, ENOMEM, EMFILE, ENFILE, EIO}) {
        Failing call({error});
        EXPECT_EQ(orvOnceMore([&] { return call(); }), 7) << error;
    }
}

TEST(OrvOnceMore, triesTwiceAtMost) {
    Failing call({EMFILE, EMFILE});
    EXPECT_EQ(orvOnceMore([&] { return call(); }), -1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(call.calls, 2u);
}

TEST(OrvOnceMore, believesWhatWillNotPass) {
    for (const int error : {ENOENT, ELOOP, EACCES, ENOSPC, EISDIR}) {
        Failing call({error});
        EXPECT_EQ(orvOnceMore([&] { return call(); }), -1) << error;
        EXPECT_EQ(call.calls, 1u);
    }
}

TEST(OrvOnceMore, takesOwnersToo) {
    int calls = 0;
    const Descriptor file = orvOnceMore([&] {
        errno = EMFILE;
        return ++calls == 1 ? Descriptor() : Descriptor(::open("/", O_RDONLY));
    });
    EXPECT_TRUE(file);
}

TEST(OrvOnceMore, triesOnceMoreWhatFindsNoMemoryAndThenLetsItThrow) {
    for (const unsigned failures : {0u, 1u, 2u}) {
        unsigned calls = 0;
        const auto call = [&] {
            if (++calls <= failures) {
                throw std::bad_alloc();
            }
            return 7;
        };
        if (failures < 2) {
            EXPECT_EQ(orvOnceMoreForMemory(call), 7);
        } else {
            EXPECT_THROW(orvOnceMoreForMemory(call), std::bad_alloc);
        }
        EXPECT_EQ(calls, failures == 0 ? 1u : 2u);
    }
}

TEST(OrvOnceMore, triesSixtyFourTimesWhereNobodyAsksAgain) {
    for (const unsigned failures : {0u, 50u, 63u, 64u}) {
        unsigned calls = 0;
        const auto call = [&] {
            if (++calls <= failures) {
                throw std::bad_alloc();
            }
            return 7;
        };
        if (failures < 64) {
            EXPECT_EQ(orvPersistently(call), 7);
        } else {
            EXPECT_THROW(orvPersistently(call), std::bad_alloc);
        }
        EXPECT_EQ(calls, std::min(failures + 1, 64u));
    }
}

}  // namespace
