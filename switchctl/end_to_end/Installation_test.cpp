// What "cmake --install" puts where, that shells complete with it, and that the manual can be shown.
#include "testing/switchctl/SwitchProcesses.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

using testing::ElementsAre;

namespace {

Words linesOf(const std::string& text) {
    Words lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class Installation : public SwitchProcesses {
protected:
    std::string file(const std::string& name) const { return directory() + "/prefix/" + name; }
    // Asks bash for the words that complete the last of these.
    std::unique_ptr<Child> complete(const Words& words) {
        std::string script = "source " TOP_DIRECTORY "/switchctl/completion/switchctl\nCOMP_WORDS=(";
        for (const std::string& word : words) {
            script += "'" + std::regex_replace(word, std::regex("'"), "'\\''") + "' ";
        }
        script +=
            ")\nCOMP_CWORD=" + std::to_string(words.size() - 1) + "\n_switchctl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
        const std::string path = std::filesystem::path(Program::SWITCHCTL).parent_path().string();
        Environment environment = this->environment();
        environment["PATH"] = path + ":/usr/bin:/bin";
        return std::make_unique<Child>("/bin/bash", Words{"-c", script}, environment);
    }
    // What it says, sorted.
    static Words completions(Child& bash) {
        Words lines = linesOf(bash.readAll());
        EXPECT_EQ(bash.wait(), 0);
        std::ranges::sort(lines);
        std::erase(lines, "");
        return lines;
    }
    Words completionsOf(const Words& words) { return completions(*complete(words)); }
};

TEST_F(Installation, putsProgramsManualAndCompletionWhereTheyBelong) {
    const ProcessOutcome result =
        run(CMAKE, {"--install", BUILD_DIRECTORY, "--component", "programs", "--prefix", directory() + "/prefix"});
    ASSERT_EQ(result.status, 0) << result.output;

    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory() + "/prefix")) {
        if (entry.is_regular_file() && entry.path().parent_path().filename() != "schemas") {
            files.insert(std::filesystem::relative(entry.path(), directory() + "/prefix").string());
        }
    }
    EXPECT_THAT(files, ElementsAre("bin/orvApp", "bin/switchctl", "bin/switchd", "libexec/orv/orvAhead",
                                   "share/bash-completion/completions/switchctl",
                                   "share/fish/vendor_completions.d/switchctl.fish", "share/man/man8/orvApp.8",
                                   "share/man/man8/switchctl.8", "share/man/man8/switchd.8",
                                   "share/zsh/vendor-completions/_switchctl"));
    EXPECT_TRUE(std::filesystem::exists(file("share/switchctl/schemas/status.json")));
    EXPECT_EQ(run(file("bin/switchctl"), {"--help"}).status, 0);
    EXPECT_EQ(run(file("bin/switchd"), {"--help"}).status, 0);
}

struct CompletionCase {
    Words line;
    Words completions;
};

const CompletionCase WITHOUT_SWITCH[] = {
    {{"switchctl", "a"}, {"attr"}},
    {{"switchctl", ""},
     {"attr", "callhome", "doctor", "event", "explain", "fault", "ledger", "log", "metrics", "preview", "profile",
      "queue", "rehearse", "serve", "status", "timeline", "wait", "watch"}},
    {{"switchctl", "attr", ""}, {"get", "list", "load", "set", "unset"}},
    {{"switchctl", "--json", "callhome", "p"}, {"probe", "processed", "profile-change"}},
    {{"switchctl", "callhome", "--timeout", "3", "te"}, {"test"}},
    {{"switchctl", "profile", "add", "x", "--le"}, {"--level"}},
    {{"switchctl", "profile", "add", "x", "--level", ""}, {"Alarm", "Critical", "Fault", "Info", "None", "Warn"}},
    {{"switchctl", "profile", "add", "x", "--format", "F"}, {"FullText"}},
    {{"switchctl", "log", "--"},
     {"--all", "--component", "--explain", "--follow", "--grep", "--help", "--json", "--level", "--lines", "--since",
      "--timeout", "--until", "--version"}},
    {{"switchctl", "log", "--level", ""}, {}},
    {{"switchctl", "wait", "orvApp", "s"}, {"started"}},
    {{"switchctl", "wait", ""}, {"orvApp"}},
    {{"switchctl", "wait", "s"}, {}},
    {{"switchctl", "wait", "--timeout", "5", "--json", "orvApp", "c"}, {"configured"}},
    {{"switchctl", "wait", "orvApp", "started", ""}, {}},
    {{"switchctl", "fault", "add", "re"}, {"refuse"}},
    {{"switchctl", "fault", "add", "refuse", "--operation", "b"}, {"bulk-get"}},
    {{"switchctl", "nonsense", "x"}, {}},
};

TEST_F(Installation, bashCompletesCommandsOptionsAndTheirValues) {
    std::vector<std::unique_ptr<Child>> all;
    for (const CompletionCase& one : WITHOUT_SWITCH) {
        all.push_back(complete(one.line));
    }
    for (std::size_t number = 0; number < all.size(); ++number) {
        EXPECT_EQ(completions(*all[number]), WITHOUT_SWITCH[number].completions)
            << testing::PrintToString(WITHOUT_SWITCH[number].line);
    }
}

TEST_F(Installation, bashCompletesWhatTheSwitchKnows) {
    const auto switchd = startSwitchd();
    for (const char* name : {"Operators", "Night shift"}) {
        switchctl({"profile", "add", name, "--level", "Info", "--format", "Tsc1", "--email", "a@x"});
    }

    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", ""}), ElementsAre("Night\\ shift", "Operators"));
    EXPECT_THAT(completionsOf({"switchctl", "profile", "remove", "O"}), ElementsAre("Operators"));
    EXPECT_THAT(completionsOf({"switchctl", "attr", "get", "Global.Callhome.SMTPP"}),
                ElementsAre("Global.Callhome.SMTPPort", "Global.Callhome.SMTPPort1"));
    EXPECT_THAT(completionsOf({"switchctl", "attr", "set", "Global.Callhome.From"}),
                ElementsAre("Global.Callhome.FromAddr="));
}

TEST_F(Installation, aProfileNameIsNeverExpandedByCompletion) {
    const auto switchd = startSwitchd();
    for (const char* name : {"$(>$HSB_ROOT/ran)", "`>$HSB_ROOT/ran`", "$HSB_ROOT", "two  blanks", "it's", "*"}) {
        const ProcessOutcome added =
            run(Program::SWITCHCTL, {"profile", "add", name, "--level", "Info", "--format", "Tsc1", "--email", "a@x"});
        ASSERT_EQ(added.status, 0) << added.output;
    }

    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", ""}),
                ElementsAre("\\$HSB_ROOT", "\\$\\(\\>\\$HSB_ROOT/ran\\)", "\\*", "\\`\\>\\$HSB_ROOT/ran\\`", "it\\'s",
                            "two\\ \\ blanks"));
    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "$("}), ElementsAre("\\$\\(\\>\\$HSB_ROOT/ran\\)"));
    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "two\\ \\ b"}), ElementsAre("two\\ \\ blanks"));
    EXPECT_FALSE(std::filesystem::exists(root() + "/ran"));
}

TEST_F(Installation, completionGoesOnBehindAnOpenQuote) {
    const auto switchd = startSwitchd();
    for (const char* name : {"$HSB_ROOT", "two  blanks", "it's"}) {
        switchctl({"profile", "add", name, "--level", "Info", "--format", "Tsc1", "--email", "a@x"});
    }

    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "\"two  b"}), ElementsAre("two  blanks"));
    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "\"\\$"}), ElementsAre("\\$HSB_ROOT"));
    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "'$"}), ElementsAre("$HSB_ROOT"));
    EXPECT_THAT(completionsOf({"switchctl", "callhome", "test", "'it"}), ElementsAre("it'\\''s"));
}

// Neither shell keeps a list of its own: both ask bash's completion.
TEST_F(Installation, zshAndFishCompleteWhatBashCompletes) {
    const auto switchd = startSwitchd();
    for (const char* name : {"Operators", "Night shift"}) {
        switchctl({"profile", "add", name, "--level", "Info", "--format", "Tsc1", "--email", "a@x"});
    }
    Environment environment = this->environment();
    environment["PATH"] = std::filesystem::path(Program::SWITCHCTL).parent_path().string() + ":/usr/bin:/bin";
    environment["SWITCHCTL_COMPLETION"] = TOP_DIRECTORY "/switchctl/completion/switchctl";
    const Words shells[] = {
        {"/usr/bin/zsh", "-f", "-c",
         "compadd() { print -rl -- ${(P)@[-1]} }\nwords=(\"${(@s:|:)1}\") CURRENT=$#words\n"
         "source " TOP_DIRECTORY "/switchctl/completion/_switchctl",
         "zsh"},
        {"/usr/bin/fish", "-N", "-c",
         "source " TOP_DIRECTORY "/switchctl/completion/switchctl.fish; complete -C (string replace -a '|' ' ' -- "
         "$argv[1])"}};
    const std::pair<const char*, Words> cases[] = {
        {"switchctl|callhome|p", {"probe", "processed", "profile-change"}},
        {"switchctl|profile|add|x|--format|", {"FullText", "Tsc1"}},
        {"switchctl|callhome|test|", {"Night shift", "Operators"}},
        {"switchctl|attr|get|Global.Callhome.SMTPP", {"Global.Callhome.SMTPPort", "Global.Callhome.SMTPPort1"}},
        {"switchctl|nonsense|x", {}},
    };
    for (const Words& shell : shells) {
        for (const auto& [line, expected] : cases) {
            Words arguments(shell.begin() + 1, shell.end());
            arguments.push_back(line);
            Child child(shell.front(), arguments, environment);
            EXPECT_EQ(completions(child), expected) << shell.front() << " " << line;
        }
    }
}

constexpr const char* PAGES[] = {"orvApp", "switchd", "switchctl"};

TEST(Manual, isFlawlessRoff) {
    for (const std::string page : PAGES) {
        Child groff("/usr/bin/groff", {"-ww", "-man", "-Tutf8", "-z", TOP_DIRECTORY "/docs/man/" + page + ".8"}, {});
        EXPECT_EQ(groff.readAll(), "") << page;
        EXPECT_EQ(groff.wait(), 0) << page;
    }
}

}  // namespace
