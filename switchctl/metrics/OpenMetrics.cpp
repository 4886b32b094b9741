#include "switchctl/metrics/OpenMetrics.h"

#include <array>
#include <charconv>
#include <string_view>

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

const char* wordOf(OpenMetrics::Type type) {
    static constexpr const char* WORDS[] = {"gauge", "counter"};
    return WORDS[static_cast<std::size_t>(type)];
}

const char* endOf(OpenMetrics::Type type) {
    static constexpr const char* ENDS[] = {"", "_total"};
    return ENDS[static_cast<std::size_t>(type)];
}

// How many bytes of a character stand here; 0 when it is none.
std::size_t characterAt(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t size = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
    if (size == 0 || size > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < size; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const auto second = static_cast<unsigned char>(size > 2 ? text[1] : '\x9F');
    const bool tooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool none = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return tooLong || none ? 0 : size;
}

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t size = characterAt(text);
        const std::string_view character = size == 0 ? REPLACEMENT : text.substr(0, size);
        text.remove_prefix(size == 0 ? 1 : size);
        result += character == "\n" ? "\\n" : character == "\"" ? "\\\"" : character == "\\" ? "\\\\" : character;
    }
    return result;
}

std::string numberText(double value) {
    std::array<char, 64> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end};
}

}  // namespace

OpenMetrics& OpenMetrics::family(const std::string& name, Type type, const std::string& help, const std::string& unit) {
    name_ = name;
    type_ = type;
    text_ += "# TYPE " + name + " " + wordOf(type) + "\n";
    text_ += unit.empty() ? "" : "# UNIT " + name + " " + unit + "\n";
    text_ += "# HELP " + name + " " + escaped(help) + "\n";
    return *this;
}

OpenMetrics& OpenMetrics::sample(double value, const Labels& labels) {
    text_ += name_ + endOf(type_);
    const char* before = "{";
    for (const auto& [name, label] : labels) {
        text_ += before + name + "=\"" + escaped(label) + "\"";
        before = ",";
    }
    text_ += (labels.empty() ? " " : "} ") + numberText(value) + "\n";
    return *this;
}
