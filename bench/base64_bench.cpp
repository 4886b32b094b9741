// Base64 of a file, beside the encoder of every Linux host and beside copying the bytes in memory.
//
// The files stand below TMPDIR; a directory in memory keeps the disk out of the figures. Into a file, the system's
// share is the same for both and more than ours; into nothing, what is left is mostly the encoding. Aim: at least 1.8
// times as fast as coreutils' base64.
#include "Descriptor.h"
#include "mesg/OrvBase64.h"
#include "mesg/OrvBase64Codec.h"
#include "testing/TempRoot.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBytes = 48u << 20;
constexpr int kLineSize = 72;

const std::string& input() {
    static const std::string bytes = [] {
        std::mt19937 random(4711);
        std::string made(kBytes, '\0');
        for (char& byte : made) {
            byte = static_cast<char>(random());
        }
        return made;
    }();
    return bytes;
}

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kBytes));
}

// While it lives, standard output goes nowhere: a link to nothing would not be followed.
class Muted {
public:
    Muted() : kept_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const Descriptor nothing(::open("/dev/null", O_WRONLY));
        if (!kept_ || !nothing || ::dup2(nothing.get(), STDOUT_FILENO) < 0) {
            throw std::runtime_error("no way to nothing");
        }
    }
    ~Muted() { ::dup2(kept_.get(), STDOUT_FILENO); }
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

private:
    const Descriptor kept_;
};

// output: as b64() takes it.
void encode(benchmark::State& state, const TempRoot& root, const std::string& output) {
    root.write("/tmp/in", input());
    for (auto _ : state) {
        if (b64(kB64Encode, "/tmp/in", output, kLineSize) != kB64Okay) {
            throw std::runtime_error("b64 failed");
        }
    }
    countBytes(state);
}

void orvToFile(benchmark::State& state) {
    const TempRoot root;
    encode(state, root, "/tmp/out");
}

void orvToNothing(benchmark::State& state) {
    const TempRoot root;
    const Muted muted;
    encode(state, root, "");
}

void encodeByCoreutils(benchmark::State& state, const TempRoot& root, const std::string& output) {
    root.write("/tmp/in", input());
    const std::string command = "base64 -w 72 " + root.at("/tmp/in") + " > " + output;
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("base64 failed");
        }
    }
    countBytes(state);
}

void coreutilsToFile(benchmark::State& state) {
    const TempRoot root;
    encodeByCoreutils(state, root, root.at("/tmp/out"));
}

void coreutilsToNothing(benchmark::State& state) {
    const TempRoot root;
    encodeByCoreutils(state, root, "/dev/null");
}

// The same block again and again, as it lies in the cache after reading.
constexpr std::size_t kBlock = 48 * 1024;

void orvInMemory(benchmark::State& state) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(input().data());
    std::vector<unsigned char> text(OrvBase64Encoder::outputSize(kBlock));
    for (auto _ : state) {
        OrvBase64Encoder encoder(kLineSize);
        for (std::size_t done = 0; done < kBytes; done += kBlock) {
            benchmark::DoNotOptimize(encoder.convert(bytes + done, kBlock, text.data()));
        }
    }
    countBytes(state);
}

void memcpyInMemory(benchmark::State& state) {
    std::vector<char> copy(kBytes);
    for (auto _ : state) {
        std::memcpy(copy.data(), input().data(), kBytes);
        benchmark::ClobberMemory();
    }
    countBytes(state);
}

BENCHMARK(orvToFile)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(coreutilsToFile)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(orvToNothing)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(coreutilsToNothing)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(orvInMemory)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(memcpyInMemory)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
