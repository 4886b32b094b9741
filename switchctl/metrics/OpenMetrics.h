// The text of the OpenMetrics exposition format 1.0.0: families one after the other, each described once, and an end.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class OpenMetrics {
public:
    enum class Type { GAUGE, COUNTER };
    using Labels = std::vector<std::pair<std::string, std::string>>;

    // A family begins; its name without the end that a counter's samples have. unit: what the name ends
    // with, or "".
    OpenMetrics& family(const std::string& name, Type type, const std::string& help, const std::string& unit = "");
    // A sample of it. Bytes of a label that are no UTF-8 become the replacement character.
    OpenMetrics& sample(double value, const Labels& labels = {});
    // As it is now, with its end.
    std::string text() const { return text_ + "# EOF\n"; }

private:
    std::string text_;
    std::string name_;
    Type type_ = Type::GAUGE;
};
