// One kind of event-log entry: its level, its number, and its text with the types of what is filled in.
//
// The text is a printf format; whether it fits the types is judged where the kind is defined, when it is compiled, so
// that a call needs no format of its own. Constants (OrvLogEntries.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// What a conversion of a text takes; the ones that the daemon's texts have.
enum class OrvLogArgument { kText, kSigned, kUnsigned };

template <typename Argument>
consteval OrvLogArgument orvLogArgument() {
    static_assert(std::is_same_v<Argument, const char*> || std::is_same_v<Argument, int> ||
                  std::is_same_v<Argument, unsigned>);
    return std::is_same_v<Argument, const char*> ? OrvLogArgument::kText
           : std::is_same_v<Argument, int>       ? OrvLogArgument::kSigned
                                                 : OrvLogArgument::kUnsigned;
}

// Where the conversion that begins at the percent sign has its letter.
constexpr const char* orvConversionLetter(const char* percent) {
    const char* letter = percent + 1;
    while ((*letter >= '0' && *letter <= '9') || *letter == '#' || *letter == '.') {
        ++letter;
    }
    return letter;
}

constexpr bool orvTakes(char letter, OrvLogArgument argument) {
    switch (argument) {
        case OrvLogArgument::kText:
            return letter == 's';
        case OrvLogArgument::kSigned:
            return letter == 'd';
        default:
            return letter == 'u' || letter == 'x';
    }
}

// A kind of entry, whatever is filled in.
struct OrvLogKind {
    int level;
    std::uint32_t id;
    const char* text;
};

template <typename... Arguments>
struct OrvLogEntry : OrvLogKind {
    consteval OrvLogEntry(int entryLevel, std::uint32_t entryId, const char* entryText)
        : OrvLogKind{entryLevel, entryId, entryText} {
        if (!fits()) {
            throw "the text does not fit the types of its arguments";
        }
    }

private:
    consteval bool fits() const {
        const std::array<OrvLogArgument, sizeof...(Arguments)> arguments{orvLogArgument<Arguments>()...};
        std::size_t taken = 0;
        for (const char* at = text; *at != '\0'; ++at) {
            if (*at != '%') {
                continue;
            }
            at = orvConversionLetter(at);
            if (taken == arguments.size() || !orvTakes(*at, arguments[taken++])) {
                return false;
            }
        }
        return taken == arguments.size();
    }
};
