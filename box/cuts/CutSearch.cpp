#include "box/cuts/CutSearch.h"

#include "Descriptor.h"
#include "box/cuts/CutRecord.h"
#include "platform/wire/Wire.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

namespace box {

namespace {

constexpr std::uint64_t kStatesOfARecord = 1000;

std::uint64_t recordsOf(const Options& options) {
    return (options.cuts + kStatesOfARecord - 1) / kStatesOfARecord;
}

// Each so many-th record, from the first one of this share.
CutFigures runShare(const Options& options, std::uint64_t share) {
    CutFigures figures;
    for (std::uint64_t record = share; record < recordsOf(options); record += options.jobs) {
        const std::uint64_t states = std::min(kStatesOfARecord, options.cuts - record * kStatesOfARecord);
        figures.add(CutRecord(options.seed + record).run(states));
        std::fprintf(stderr, "seed %llu: %llu states so far, %zu failed\n",
                     static_cast<unsigned long long>(options.seed) + record,
                     static_cast<unsigned long long>(figures.states), figures.failures.size());
    }
    return figures;
}

// In a process of its own: boxes are forked from one that has no threads. The end to read its figures from.
Descriptor startShare(const Options& options, std::uint64_t share) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Descriptor in(ends[0]);
    const Descriptor out(ends[1]);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        WireWriter bytes;
        runShare(options, share).encode(bytes);
        const std::vector<std::uint8_t> all = bytes.take();
        std::size_t done = 0;
        while (done < all.size()) {
            const ssize_t written = ::write(out.get(), all.data() + done, all.size() - done);
            if (written < 0) {
                ::_exit(1);
            }
            done += static_cast<std::size_t>(written);
        }
        ::_exit(0);
    }
    return in;
}

CutFigures figuresFrom(int file) {
    std::vector<std::uint8_t> bytes;
    std::uint8_t buffer[65536];
    for (ssize_t got = 1; got > 0;) {
        got = ::read(file, buffer, sizeof buffer);
        bytes.insert(bytes.end(), buffer, buffer + std::max<ssize_t>(got, 0));
    }
    CutFigures figures;
    if (bytes.empty()) {
        figures.failures.push_back("FAILED: no word of some of the records");
        return figures;
    }
    WireReader reader(bytes);
    figures.decode(reader);
    return figures;
}

}  // namespace

int searchCuts(const Options& options) {
    CutFigures figures;
    if (options.state >= 0) {
        figures = CutRecord(options.seed).show(static_cast<std::uint64_t>(options.state));
    } else if (options.jobs == 1) {
        figures = runShare(options, 0);
    } else {
        std::vector<Descriptor> shares;
        for (std::uint64_t share = 0; share < options.jobs; ++share) {
            shares.push_back(startShare(options, share));
        }
        for (const Descriptor& share : shares) {
            figures.add(figuresFrom(share.get()));
            ::wait(nullptr);
        }
    }
    std::printf("%s", figures.text().c_str());
    return figures.failures.empty() ? 0 : 1;
}

}  // namespace box
