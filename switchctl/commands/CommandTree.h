// The commands of switchctl and how they are told apart on the command line.
//
// A command is a name, three texts, arguments and an action; the action runs after the whole line has been understood.
#pragma once

#include "switchctl/client/Session.h"
#include "switchctl/commands/Command.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class CommandTree {
public:
    using Action = std::function<void(Session&)>;
    enum class Outcome { RUN, HELP, VERSION, WRONG };

    // A word that commands follow, such as "attr".
    class Group {
    public:
        explicit Group(CLI::App& app) : app_(app) {}
        CLI::App& app() const { return app_; }

    private:
        CLI::App& app_;
    };

    CommandTree();
    ~CommandTree();
    CommandTree(const CommandTree&) = delete;
    CommandTree& operator=(const CommandTree&) = delete;

    Group root();
    Group group(const char* name, const char* summary);
    Command command(const Group& group, const char* name, const CommandText& text, Action action);

    // A command with arguments of its own, which the action gets: they are taken into what stands beside the command.
    template <typename Arguments>
    struct With {
        Command command;
        Arguments& arguments;
    };
    template <typename Arguments>
    With<Arguments> command(const Group& group, const char* name, const CommandText& text,
                            void (*action)(Session&, const Arguments&)) {
        const auto arguments = std::make_shared<Arguments>();
        return {command(group, name, text, [arguments, action](Session& session) { action(session, *arguments); }),
                *arguments};
    }
    // With a single one.
    template <typename Arguments>
    void command(const Group& group, const char* name, const CommandText& text,
                 void (*action)(Session&, const Arguments&), const Argument& only) {
        auto with = command(group, name, text, action);
        with.command.take(only, with.arguments);
    }

    // Reads the line. With WRONG, problem says why.
    [[nodiscard]] Outcome parse(const std::vector<std::string>& arguments, std::string& problem);
    // After parse gave RUN: does what the line says.
    void run(Session& session) const;

    bool json() const;
    std::chrono::milliseconds timeout() const;

    // Help for the command that the line names, as far as it was read.
    std::string help() const;
    // Its synopsis and its example, a line each.
    std::string usage() const;

    // A command as it was added, with its arguments as --help shows them.
    struct Known {
        struct Row {
            std::string name;   // "-n,--lines", "NAME"
            std::string value;  // "N", or ""
            std::string what;
        };
        CommandText text;
        std::vector<Row> arguments;
    };
    std::vector<Known> commands() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
