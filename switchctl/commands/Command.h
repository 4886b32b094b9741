// One command's arguments, as its command line has them. The parser behind it is known to CommandTree.cpp alone.
//
// Targets must live as long as the tree, as those of CommandTree::With do.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

struct CommandText {
    const char* synopsis;  // The whole line after "switchctl", as in "attr get KEY...".
    const char* summary;
    const char* example;  // Likewise, ready to be typed.
    const char* object;   // What --json prints, for the pages, and
    const char* page;     // what else they say; both in Markdown.
};

// An argument: --name for an option, anything else for one that stands by its place.
struct Argument {
    const char* name;
    const char* value;  // What follows the option, for --help; "" for one that stands by its place.
    const char* what;
    bool required = false;
};

class Command {
public:
    explicit Command(CLI::App& app) : app_(app) {}

    Command& take(const Argument& argument, std::string& target);
    Command& take(const Argument& argument, std::optional<std::string>& target);
    // Any number of them.
    Command& take(const Argument& argument, std::vector<std::string>& target);
    // A number between least and most, decimal or, after 0x, hexadecimal.
    template <typename Number>
    Command& number(const Argument& argument, Number& target, std::int64_t least, std::int64_t most) {
        return numberTo(argument, least, most, [&target](std::int64_t value) { target = static_cast<Number>(value); });
    }
    Command& flag(const char* name, const char* what, bool& target);
    // Two options that do not go together.
    Command& exclusive(const char* one, const char* other);

private:
    Command& numberTo(const Argument& argument, std::int64_t least, std::int64_t most,
                      std::function<void(std::int64_t)> store);

    CLI::App& app_;
};
