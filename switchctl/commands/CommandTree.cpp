#include "switchctl/commands/CommandTree.h"

#include "switchctl/text/Suggestion.h"
#include "switchctl/text/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace {

constexpr CommandText ROOT_TEXT = {
    "[--json] [--timeout S] COMMAND ...",
    "Operates the switch: its attributes, its events, and CallHome.",
    "status",
    "",
    "",
};
constexpr double LONGEST_TIMEOUT = 1000000;

using CommandTexts = std::map<const CLI::App*, CommandText>;

const CommandText* textOf(const CommandTexts& texts, const CLI::App* app) {
    const auto text = texts.find(app);
    return text == texts.end() ? nullptr : &text->second;
}

// "attr get ", as it stands at the start of a synopsis; "" for the root.
std::string wordsOf(const CLI::App* app) {
    std::string words;
    for (; app->get_parent() != nullptr; app = app->get_parent()) {
        words.insert(0, app->get_name() + " ");
    }
    return words;
}

// The parser's help with our own usage line and an example below.
class HelpFormatter final : public CLI::Formatter {
public:
    explicit HelpFormatter(const CommandTexts& texts) : texts_(texts) { column_width(26); }

    // Stands below the usage.
    std::string make_description(const CLI::App* /*app*/) const override { return ""; }
    std::string make_usage(const CLI::App* app, std::string /*name*/) const override {
        const CommandText* text = textOf(texts_, app);
        const std::string words = wordsOf(app);
        const std::string_view synopsis = text == nullptr ? "" : text->synopsis;
        // A synopsis may end with its words.
        const std::string rest =
            text == nullptr ? "COMMAND ..." : std::string(synopsis.substr(std::min(words.size(), synopsis.size())));
        const std::string usage = "Usage: switchctl " + words + "[-h]" + (rest.empty() ? "" : " " + rest);
        return Text::folded(usage, 80, "") + app->get_description() + "\n";
    }
    std::string make_footer(const CLI::App* app) const override {
        const CommandText* text = textOf(texts_, app);
        // All commands together fill the screen without one.
        return text == nullptr || app->get_parent() == nullptr
                   ? ""
                   : std::string("Example:\n  switchctl ") + text->example + "\n";
    }

private:
    const CommandTexts& texts_;
};

std::string checkTimeout(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const bool fits = end != text.c_str() && *end == '\0' && value > 0 && value <= LONGEST_TIMEOUT;
    return fits ? "" : "\"" + text + "\" is not a number of seconds from above 0 to 1000000";
}

CLI::Option* finish(CLI::Option* option, const Argument& argument) {
    option->required(argument.required);
    option->type_name(argument.value);
    return option;
}

}  // namespace

Command& Command::take(const Argument& argument, std::string& target) {
    finish(app_.add_option(argument.name, target, argument.what), argument);
    return *this;
}

Command& Command::take(const Argument& argument, std::optional<std::string>& target) {
    const auto store = [&target](const std::string& text) { target = text; };
    finish(app_.add_option_function<std::string>(argument.name, store, argument.what), argument);
    return *this;
}

Command& Command::take(const Argument& argument, std::vector<std::string>& target) {
    finish(app_.add_option(argument.name, target, argument.what), argument);
    return *this;
}

Command& Command::numberTo(const Argument& argument, std::int64_t least, std::int64_t most,
                           std::function<void(std::int64_t)> store) {
    const std::string name = argument.name;
    const auto check = [name, least, most, store = std::move(store)](const std::string& text) {
        const auto value = Text::number(text, least, most);
        if (!value) {
            throw CLI::ValidationError(
                name, "\"" + text + "\" is not a number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        store(*value);
    };
    finish(app_.add_option_function<std::string>(name, check, argument.what), argument);
    return *this;
}

Command& Command::flag(const char* name, const char* what, bool& target) {
    app_.add_flag(name, target, what);
    return *this;
}

Command& Command::exclusive(const char* one, const char* other) {
    app_.get_option(one)->excludes(app_.get_option(other));
    return *this;
}

class CommandTree::Impl {
public:
    Impl();

    const CLI::App& selected() const;
    // What to say when a word stands where a command is expected.
    std::optional<std::string> unknownCommand();
    std::string meantOption();

    CLI::App root;
    CommandTexts texts;
    Action action;
    bool json = false;
    bool explained = false;  // The problem says already where to look.
    double timeout = 10;
};

CommandTree::Impl::Impl() {
    texts[&root] = ROOT_TEXT;
    root.description(ROOT_TEXT.summary);
    root.name("switchctl");
    root.formatter(std::make_shared<HelpFormatter>(texts));
    root.fallthrough();  // --json and --timeout may stand anywhere.
    root.require_subcommand(1);
    root.add_flag("--json", json, "Print JSON");
    root.add_option("--timeout", timeout, "Seconds to wait for an answer (10)")->type_name("S")->check(checkTimeout);
    root.set_version_flag("--version", "", "Print which version this is and exit");
}

const CLI::App& CommandTree::Impl::selected() const {
    const CLI::App* app = &root;
    for (auto chosen = app->get_subcommands(); !chosen.empty(); chosen = app->get_subcommands()) {
        app = chosen.back();
    }
    return *app;
}

std::optional<std::string> CommandTree::Impl::unknownCommand() {
    const CLI::App& app = selected();
    const std::vector<std::string> rest = root.remaining(true);
    if (app.get_subcommands({}).empty() || rest.empty() || rest.front().starts_with('-')) {
        return std::nullopt;
    }
    explained = true;
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return "there is no command \"" + rest.front() + "\"" + Suggestion::didYouMean(rest.front(), names) +
           "; see switchctl " + (&app == &root ? "" : app.get_name() + " ") + "--help";
}

// The option that an unknown one may have been meant for.
std::string CommandTree::Impl::meantOption() {
    const auto rest = root.remaining(true);
    const auto unknown = std::ranges::find_if(rest, [](const std::string& word) { return word.starts_with("--"); });
    if (unknown == rest.end()) {
        return "";
    }
    std::vector<std::string> names;
    for (const CLI::App* app = &selected(); app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return Suggestion::didYouMean(unknown->substr(0, unknown->find('=')), names);
}

CommandTree::CommandTree() : impl_(std::make_unique<Impl>()) {
}

CommandTree::~CommandTree() = default;

CommandTree::Group CommandTree::root() {
    return Group(impl_->root);
}

CommandTree::Group CommandTree::group(const char* name, const char* summary) {
    CLI::App* app = impl_->root.add_subcommand(name, summary);
    app->require_subcommand(1);
    return Group(*app);
}

Command CommandTree::command(const Group& group, const char* name, const CommandText& text, Action action) {
    CLI::App* app = group.app().add_subcommand(name, text.summary);
    impl_->texts[app] = text;
    app->callback([this, action = std::move(action)] { impl_->action = action; });
    return Command(*app);
}

CommandTree::Outcome CommandTree::parse(const std::vector<std::string>& arguments, std::string& problem) {
    try {
        impl_->root.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return Outcome::RUN;
    } catch (const CLI::CallForHelp&) {
        return Outcome::HELP;
    } catch (const CLI::CallForVersion&) {
        return Outcome::VERSION;
    } catch (const CLI::ParseError& error) {
        problem = impl_->unknownCommand().value_or(error.what() + impl_->meantOption());
        return Outcome::WRONG;
    }
}

void CommandTree::run(Session& session) const {
    impl_->action(session);
}

bool CommandTree::json() const {
    return impl_->json;
}

std::chrono::milliseconds CommandTree::timeout() const {
    return std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(impl_->timeout * 1000)));
}

std::string CommandTree::help() const {
    return impl_->root.help();
}

std::string CommandTree::usage() const {
    if (impl_->explained) {
        return "";
    }
    const CommandText* text = textOf(impl_->texts, &impl_->selected());
    if (text == nullptr) {
        return "see switchctl " + impl_->selected().get_name() + " --help\n";
    }
    return std::string("usage: switchctl ") + text->synopsis + "\nexample: switchctl " + text->example + "\n";
}

std::vector<CommandTree::Known> CommandTree::commands() const {
    std::vector<Known> commands;
    for (const auto& [app, text] : impl_->texts) {
        if (app == &impl_->root) {
            continue;
        }
        commands.push_back({text, {}});
        for (const CLI::Option* option : app->get_options()) {
            if (option != app->get_help_ptr()) {
                commands.back().arguments.push_back({option->get_name(option->get_positional(), true),
                                                     option->get_type_name(), option->get_description()});
            }
        }
    }
    return commands;
}
