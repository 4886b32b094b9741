// Held to vsnprintf, which says what a line must be.
#include "base/OrvText.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <random>
#include <string>

namespace {

constexpr char kBehind = '\x7f';

struct Filled {
    int length = 0;
    std::string text;
    char behind = kBehind;  // the byte behind the buffer

    friend bool operator==(const Filled&, const Filled&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Filled& filled) {
        return out << filled.length << " \"" << filled.text << "\"";
    }
};

using Fill = int (*)(char*, std::size_t, const char*, std::va_list);

Filled fillBy(Fill fill, std::size_t size, const char* format, std::va_list arguments) {
    std::string buffer(size + 1, kBehind);
    Filled filled;
    filled.length = fill(buffer.data(), size, format, arguments);
    filled.text = size == 0 ? "" : std::string(buffer.c_str());
    filled.behind = buffer[size];
    return filled;
}

// With every size of the buffer around the text's length.
__attribute__((format(printf, 1, 2))) void expectAsPrintf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measured;
    va_copy(measured, arguments);
    const auto length = static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, measured));
    va_end(measured);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, length / 2, length, length + 1, length + 100}) {
        std::va_list ours;
        va_copy(ours, arguments);
        std::va_list theirs;
        va_copy(theirs, arguments);
        EXPECT_EQ(fillBy(orvFillLine, size, format, ours), fillBy(std::vsnprintf, size, format, theirs))
            << format << " into " << size;
        va_end(ours);
        va_end(theirs);
    }
    va_end(arguments);
}

TEST(OrvFillLine, fillsInTextsAndNumbers) {
    expectAsPrintf("Entry\n");
    expectAsPrintf("%s", "");
    expectAsPrintf("%s%s\n", "one", "two");
    expectAsPrintf("SMTP bytes sent = %d of %u\n", -1, 585u);
    expectAsPrintf("{%s}\n", "250 100% %s %n");
    expectAsPrintf("%s", std::string(2000, 'x').c_str());
}

TEST(OrvFillLine, fillsInTheLastNumbersOfTheirKinds) {
    for (const int number : {0, 1, -1, 9, 10, -10, INT_MAX, INT_MIN, INT_MIN + 1}) {
        expectAsPrintf("%d %1d %9d %10d %11d %12d %99d|", number, number, number, number, number, number, number);
    }
    for (const unsigned number : {0u, 1u, 9u, 10u, 4294967295u, 2147483648u}) {
        expectAsPrintf("%u %1u %9u %10u %11u %12u %99u|", number, number, number, number, number, number, number);
    }
}

TEST(OrvFillLine, leavesTheRestToPrintf) {
    const char* volatile none = nullptr;  // as far as the compiler can tell, a text
    expectAsPrintf("%d%% of %s\n", 7, "it");
    expectAsPrintf("%s then %lu and %08x and %-10s| %5s| %.2s| %c\n", "a", 4000000000ul, 48879u, "left", "right", "cut",
                   'c');
    expectAsPrintf("%05d %-5d| %+d % d %100d %.3d %*d\n", 42, 42, 42, 42, 42, 7, 6, 42);
    expectAsPrintf("%lld %zu %hu %f %p\n", -1ll, sizeof(int), static_cast<unsigned short>(3), 0.5,
                   static_cast<const void*>(""));
    expectAsPrintf("%s\n", none);
}

TEST(OrvFillLine, fillsInWhateverNumbersThereAre) {
    std::mt19937 random(4711);
    for (int turn = 0; turn < 2000; ++turn) {
        const unsigned number = static_cast<unsigned>(random()) >> random() % 32;
        expectAsPrintf("entry (%u) %s %d\n    send %10u %7d\n", number, "added to", static_cast<int>(number), number,
                       -static_cast<int>(number >> 1));
    }
}

}  // namespace
