// What every store must do, as tests that run against each of them.
#pragma once

#include "switchd/store/AttributeStore.h"
#include "switchd/store/EventLogStore.h"

#include <gtest/gtest.h>

#include <memory>

// A store of one kind with a place of its own.
class StoreUnderTest {
public:
    virtual ~StoreUnderTest() = default;
    virtual AttributeStore& attributes() = 0;
    virtual EventLogStore& log() = 0;
};

struct StoreKind {
    const char* name;
    std::unique_ptr<StoreUnderTest> (*make)(std::size_t logCapacity);
};

class StoreContract : public ::testing::TestWithParam<StoreKind> {
protected:
    static constexpr std::size_t LOG_CAPACITY = 4;

    AttributeStore& attributes() { return store_->attributes(); }
    EventLogStore& log() { return store_->log(); }

private:
    std::unique_ptr<StoreUnderTest> store_ = GetParam().make(LOG_CAPACITY);
};
