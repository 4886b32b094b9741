#include "switchctl/commands/CommandPages.h"

#include "switchctl/text/Text.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct TableLine {
    const char* title;  // null for a command
    CommandText text;
};

constexpr TableLine TABLE_LINES[] = {
#define SECTION(title) {title, {}},
#define COMMAND(name, synopsis, summary, example, object, page) {nullptr, {synopsis, summary, example, object, page}},
#include "switchctl/commands/CommandEntries.inc"
#undef COMMAND
#undef SECTION
};

std::vector<CommandRow> rowsOfTable() {
    std::vector<CommandRow> rows;
    const char* section = "";
    for (const TableLine& line : TABLE_LINES) {
        if (line.title != nullptr) {
            section = line.title;
        } else {
            rows.push_back({section, line.text});
        }
    }
    return rows;
}

using Arguments = std::vector<CommandTree::Known::Row>;

Arguments argumentsOf(const CommandText& text, const CommandTree& tree) {
    const auto commands = tree.commands();
    const auto found = std::ranges::find_if(commands, [&text](const CommandTree::Known& known) {
        return std::string_view(known.text.synopsis) == text.synopsis;
    });
    return found == commands.end() ? Arguments() : found->arguments;
}

std::string inOneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

// The summary and what else there is to know, in sentences.
std::string sentencesOf(const CommandText& text) {
    return std::string(text.summary) + "." + (*text.page == '\0' ? "" : " ") + text.page;
}

// "-n N, --lines N"
std::string withValue(const CommandTree::Known::Row& argument, const char* before, const char* between,
                      const char* behind) {
    std::string shown;
    for (const std::string& name : Text::split(argument.name, ',')) {
        shown += (shown.empty() ? "" : ", ") + std::string(before) + name +
                 (argument.value.empty() ? "" : between + argument.value) + behind;
    }
    return shown;
}

// The first line of a list's item stands behind its dash, the others below its text.
std::string markdownItem(const std::string& text, const std::string& indent) {
    std::string item = Text::folded(text, 118, indent + "  ");
    return item.replace(indent.size(), 1, "-");
}

std::string markdownOf(const CommandText& text, const CommandTree& tree) {
    std::string lines = markdownItem("`" + std::string(text.synopsis) + "`: " + sentencesOf(text), "");
    for (const auto& argument : argumentsOf(text, tree)) {
        lines += markdownItem(withValue(argument, "`", " ", "`") + ": " + inOneLine(argument.what), "  ");
    }
    return lines;
}

// The words that lead to a command: what follows them is in capitals, an option or in brackets.
std::string wordsIn(const CommandText& text) {
    std::string words;
    for (const std::string& word : Text::split(text.synopsis, ' ')) {
        if (std::islower(static_cast<unsigned char>(word.front())) == 0) {
            break;
        }
        words += (words.empty() ? "" : " ") + word;
    }
    return words;
}

// Neighbours that print the same share a row.
std::string objectTable() {
    std::string lines = "| command | object |\n|---|---|\n";
    std::string names;
    const auto rows = knownCommands();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        names += (names.empty() ? "`" : ", `") + wordsIn(rows[i].text) + "`";
        const bool shared = i + 1 < rows.size() && std::string_view(rows[i].text.object) == rows[i + 1].text.object;
        if (!shared) {
            lines += "| " + std::exchange(names, "") + " | " + rows[i].text.object + " |\n";
        }
    }
    return lines;
}

std::string markdownSection(const std::string& title, const CommandTree& tree) {
    std::string lines;
    for (const CommandRow& row : knownCommands()) {
        lines += title == row.section ? markdownOf(row.text, tree) : "";
    }
    return title == "objects" ? objectTable() : lines;
}

// A hyphen that can be typed is a minus to roff.
std::string roff(char c) {
    return c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
}

// Markdown's links as their words, its code in bold, a line for each sentence.
std::string roffSentences(std::string_view text) {
    std::string lines;
    bool code = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view rest = text.substr(i);
        if (rest[0] == '`') {
            code = !code;
            lines += code ? "\\fB" : "\\fR";
        } else if (!code && rest.starts_with("](")) {
            i = text.find(')', i);
        } else if (!code && rest.starts_with(". ")) {
            lines += ".\n";
            ++i;
        } else if (code || rest[0] != '[') {
            lines += roff(rest[0]);
        }
    }
    return lines + "\n";
}

// A word in capitals stands for what is to be typed, any other is typed as it is.
std::string roffSynopsis(std::string_view text) {
    std::string shown;
    for (std::size_t i = 0; i < text.size();) {
        const auto isWord = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
        std::size_t end = i;
        while (end < text.size() && isWord(text[end])) {
            ++end;
        }
        const std::string_view word = text.substr(i, end - i);
        const bool capitals = !word.empty() && std::ranges::none_of(word, [](char c) { return std::islower(c) != 0; });
        shown += capitals ? "\\fI" + std::string(word) + "\\fB" : word.empty() ? roff(text[i]) : std::string(word);
        i = std::max(end, i + 1);
    }
    return shown;
}

std::string manualOf(const CommandText& text, const CommandTree& tree) {
    std::string lines = ".TP\n.B " + roffSynopsis(text.synopsis) + "\n" + roffSentences(sentencesOf(text));
    const Arguments arguments = argumentsOf(text, tree);
    for (const auto& argument : arguments) {
        lines += (&argument == &arguments.front() ? ".RS\n" : "");
        lines += ".TP\n.B " + roffSynopsis(withValue(argument, "", " ", "")) + "\n" +
                 roffSentences(inOneLine(argument.what) + ".");
    }
    return lines + (arguments.empty() ? "" : ".RE\n");
}

std::string manualSections(const CommandTree& tree) {
    std::string lines;
    const char* section = "";
    for (const CommandRow& row : knownCommands()) {
        if (section != row.section) {
            section = row.section;
            std::string title = section;
            std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
            lines += ".SH " + title + "\n";
        }
        lines += manualOf(row.text, tree);
    }
    return lines;
}

struct Marks {
    std::string begin;
    std::string behindTitle;
    std::string end;
};

// Replaces what stands between marks by what make() says of the title in the first of them.
std::string madeAnew(const std::string& page, const Marks& marks,
                     const std::function<std::string(const std::string&)>& make) {
    std::string result;
    std::size_t from = 0;
    for (std::size_t at = page.find(marks.begin); at != std::string::npos; at = page.find(marks.begin, from)) {
        const std::size_t title = at + marks.begin.size();
        const std::size_t begin = page.find('\n', title);
        const std::size_t behind = page.find(marks.behindTitle, title);
        const std::size_t end = page.find(marks.end, title);
        if (begin == std::string::npos || end == std::string::npos || behind > begin) {
            throw std::runtime_error("a made part of the page has no end");
        }
        const std::string made = make(page.substr(title, behind - title));
        if (made.empty()) {
            throw std::runtime_error("nobody knows " + page.substr(title, behind - title));
        }
        result += page.substr(from, begin + 1 - from) + made;
        from = end;
    }
    if (from == 0) {
        throw std::runtime_error("no part of the page is made");
    }
    return result + page.substr(from);
}

}  // namespace

std::span<const CommandRow> knownCommands() {
    static const std::vector<CommandRow> rows = rowsOfTable();
    return rows;
}

std::string switchctlPage(const std::string& page, const CommandTree& tree) {
    return madeAnew(page, {"<!-- made: ", " -->", "<!-- end -->"},
                    [&tree](const std::string& title) { return markdownSection(title, tree); });
}

std::string switchctlManual(const std::string& manual, const CommandTree& tree) {
    return madeAnew(manual, {".\\\" made: ", "\n", ".\\\" end"},
                    [&tree](const std::string&) { return manualSections(tree); });
}
