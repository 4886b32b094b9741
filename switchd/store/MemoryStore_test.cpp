#include "switchd/store/MemoryStore.h"
#include "testing/switchd/StoreContract.h"

namespace {

class MemoryStoreUnderTest final : public StoreUnderTest {
public:
    explicit MemoryStoreUnderTest(std::size_t logCapacity) : store_(logCapacity) {}
    AttributeStore& attributes() override { return store_; }
    EventLogStore& log() override { return store_; }

private:
    MemoryStore store_;
};

std::unique_ptr<StoreUnderTest> makeMemoryStore(std::size_t logCapacity) {
    return std::make_unique<MemoryStoreUnderTest>(logCapacity);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Memory, StoreContract, ::testing::Values(StoreKind{"Memory", makeMemoryStore}));
