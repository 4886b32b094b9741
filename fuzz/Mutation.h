// Small damage to a text, the same for the same number on every machine: what a compiler without a fuzzer of its own,
// and the switch's processor, try each target with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace orv_fuzz {

class Mutation {
public:
    explicit Mutation(std::uint32_t seed) : chance_(seed) {}

    // One to four changes; other is another seed of the target, which pieces may come from.
    std::string of(std::string bytes, std::string_view other) {
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
            change(bytes, other);
        }
        return bytes;
    }

private:
    static constexpr std::size_t kMostBytes = 65536;

    std::size_t below(std::size_t limit) { return chance_() % limit; }

    void change(std::string& bytes, std::string_view other) {
        const std::size_t at = below(bytes.size() + 1);
        const std::size_t length = below(bytes.size() - at + 1);
        switch (below(7)) {
            case 0:
                bytes.resize(at);
                break;
            case 1:
                bytes.erase(at, length);
                break;
            case 2:
                bytes.insert(at, bytes.size() < kMostBytes ? bytes.substr(at, length) : "");
                break;
            case 3:
                bytes.insert(at, other.substr(below(other.size() + 1), below(64)));
                break;
            case 4:
                bytes.insert(at, 1, odd());
                break;
            case 5:
                bytes.replace(at, std::min<std::size_t>(4, bytes.size() - at), 4, odd());
                break;
            default:
                if (at < bytes.size()) {
                    bytes[at] = static_cast<char>(bytes[at] ^ 1 << below(8));
                }
        }
    }

    char odd() {
        constexpr std::string_view kOdd("\0\xFF\x80\x7F\n<>/%=-9", 12);
        return kOdd[below(kOdd.size())];
    }

    std::mt19937 chance_;
};

}  // namespace orv_fuzz
