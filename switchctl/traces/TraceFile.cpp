#include "switchctl/traces/TraceFile.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace {

using Generation = TraceFile::Generation;

bool areSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

int moved() {
    errno = EAGAIN;
    return 1;
}

// Tells it from the one that a start of the daemon makes of it: each line has its time.
std::string headOf(const Descriptor& file) {
    std::array<char, 80> head{};
    const ssize_t got = pread(file.get(), head.data(), head.size(), 0);
    return {head.data(), got > 0 ? static_cast<std::size_t>(got) : 0};
}

// Without a descriptor, and errno says why, when there is no trace in this file.
Generation openTrace(const std::string& path) {
    Generation generation;
    generation.file.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (generation.file && fstat(generation.file.get(), &generation.status) < 0) {
        generation.file.reset();
    } else if (generation.file && !S_ISREG(generation.status.st_mode)) {
        generation.file.reset();
        errno = EINVAL;
    }
    if (generation.file) {
        generation.head = headOf(generation.file);
    }
    return generation;
}

int append(Generation& generation, std::string& text) {
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t got = pread(generation.file.get(), buffer.data(), buffer.size(), generation.offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got < 0 ? -1 : 0;
        }
        text.append(buffer.data(), static_cast<std::size_t>(got));
        generation.offset += got;
    }
}

}  // namespace

std::string TraceFile::generation(int number) const {
    return number == 0 ? file_ : file_ + "." + std::to_string(number);
}

void TraceFile::mark() {
    marked_.reset();
    for (int number = 0; number <= GENERATIONS && !marked_; ++number) {
        Generation newest = openTrace(generation(number));
        marked_ = std::move(newest.file);
        mark_ = newest.status;
        markHead_ = std::move(newest.head);
    }
}

int TraceFile::readSince(std::string& text) const {
    std::vector<Generation> newestFirst;
    return readGenerations(text, newestFirst);
}

int TraceFile::readOn(std::string& text, bool& whole) {
    std::vector<Generation> newestFirst;
    if (readGenerations(text, newestFirst) < 0) {
        return -1;
    }
    whole = !marked_ || isMarked(newestFirst.back());
    Generation& newest = newestFirst.front();
    marked_ = std::move(newest.file);
    mark_ = newest.status;
    mark_.st_size = newest.offset;
    markHead_ = std::move(newest.head);
    return 0;
}

int TraceFile::readGenerations(std::string& text, std::vector<Generation>& newestFirst) const {
    constexpr int TRIES = 10;
    int result = 1;
    for (int number = 0; number < TRIES && result > 0; ++number) {
        newestFirst.clear();
        result = tryReadSince(text, newestFirst);
    }
    return result == 0 ? 0 : -1;
}

bool TraceFile::isMarked(const Generation& generation) const {
    return marked_ && areSame(mark_, generation.status);
}

bool TraceFile::isBegunAnew(const Generation& marked) const {
    return marked.status.st_size < mark_.st_size || !marked.head.starts_with(markHead_);
}

int TraceFile::openSince(std::vector<Generation>& newestFirst) const {
    for (int number = 0; number <= GENERATIONS; ++number) {
        Generation next = openTrace(generation(number));
        if (!next.file) {
            return errno == ENOENT ? endAt(number) : -1;
        }
        // One that was there under the number before has moved.
        if (std::ranges::any_of(newestFirst, [&](const Generation& one) { return areSame(one.status, next.status); })) {
            return moved();
        }
        const bool isLast = isMarked(next);
        if (isLast && !isBegunAnew(next)) {
            next.offset = mark_.st_size;
        }
        newestFirst.push_back(std::move(next));
        if (isLast) {
            break;
        }
    }
    return 0;
}

// No generation has this number. In the middle of a rotation there are some behind it.
int TraceFile::endAt(int number) const {
    for (int older = number + 1; older <= GENERATIONS; ++older) {
        if (openTrace(generation(older)).file) {
            errno = number > 0 ? EAGAIN : ENOENT;
            return 1;
        }
    }
    errno = ENOENT;
    return number > 0 ? 0 : -1;
}

int TraceFile::tryReadSince(std::string& text, std::vector<Generation>& newestFirst) const {
    if (const int result = openSince(newestFirst); result != 0) {
        return result;
    }
    std::string result;
    for (auto one = newestFirst.rbegin(); one != newestFirst.rend(); ++one) {
        if (append(*one, result) < 0) {
            return -1;
        }
    }
    if (!areSame(openTrace(file_).status, newestFirst.front().status)) {
        return moved();
    }
    text = std::move(result);
    return 0;
}
