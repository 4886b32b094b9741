// libFuzzer's entry to one target: the program is built with its name.
#include "fuzz/Target.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    testing::GTEST_FLAG(break_on_failure) = true;  // or an expectation would only be told
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto targets = orv_fuzz::targets();
    static const auto target = std::ranges::find(targets, std::string_view(ORV_FUZZ_TARGET), &orv_fuzz::Target::name);
    if (target == targets.end()) {
        std::abort();
    }
    target->run({data, size});
    return 0;
}
