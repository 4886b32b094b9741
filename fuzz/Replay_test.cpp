// Every target with every file of its corpus, and with small damage to each: without a fuzzer, so on every processor
// and with every compiler.
#include "fuzz/Mutation.h"
#include "fuzz/Target.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace orv_fuzz {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kMutations = 50;  // of each file

class FuzzTarget : public testing::TestWithParam<Target> {
protected:
    static fs::path directory() { return fs::path(ORV_FUZZ_CORPUS) / GetParam().name; }
    static std::string read(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    // Name and bytes of each file, in the order of their names.
    static std::vector<Seed> corpus() {
        std::vector<Seed> files;
        for (const fs::directory_entry& entry : fs::directory_iterator(directory())) {
            files.push_back({entry.path().filename(), read(entry.path())});
        }
        std::ranges::sort(files, {}, &Seed::name);
        return files;
    }
};

// ORV_WRITE_SEEDS=1 writes them.
TEST_P(FuzzTarget, hasItsSeedsAsTheyAreEncodedToday) {
    for (const Seed& seed : GetParam().seeds()) {
        const fs::path path = directory() / seed.name;
        if (std::getenv("ORV_WRITE_SEEDS") != nullptr) {
            fs::create_directories(directory());
            std::ofstream(path, std::ios::binary) << seed.bytes;
        }
        EXPECT_EQ(read(path), seed.bytes) << seed.name;
    }
}

TEST_P(FuzzTarget, holdsForEveryFileOfItsCorpus) {
    const std::vector<Seed> files = corpus();
    ASSERT_FALSE(files.empty());
    for (const Seed& file : files) {
        SCOPED_TRACE(file.name);
        GetParam().run(bytesOf(file.bytes));
    }
}

TEST_P(FuzzTarget, holdsForDamageToEveryFileOfItsCorpus) {
    const std::vector<Seed> files = corpus();
    for (std::size_t i = 0; i < files.size(); ++i) {
        for (std::uint32_t number = 0; number < kMutations && !HasFailure(); ++number) {
            const std::string& other = files[(i + number) % files.size()].bytes;
            const std::string damaged = Mutation(number).of(files[i].bytes, other);
            SCOPED_TRACE(files[i].name + " " + std::to_string(number) + ": " + testing::PrintToString(damaged));
            GetParam().run(bytesOf(damaged));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, FuzzTarget, testing::ValuesIn(targets().begin(), targets().end()),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace

}  // namespace orv_fuzz
