// docs/operator.md: every command in it is executed, in one shell, and prints what the document shows.
#include "testing/platform/Child.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

namespace {

using Lines = std::vector<std::string>;

struct Step {
    std::string command;
    Lines output;
};

constexpr const char* ANY_LINES = "...";
constexpr const char* STEP_ENDS = "@@ end of step @@";

// The commands of all console blocks, each with the lines below it.
std::vector<Step> stepsIn(const std::string& file) {
    std::vector<Step> steps;
    std::ifstream stream(file);
    bool inBlock = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("```")) {
            inBlock = line == "```console";
        } else if (inBlock && line.starts_with("$ ")) {
            steps.push_back({line.substr(2), {}});
        } else if (inBlock) {
            steps.back().output.push_back(line);
        }
    }
    return steps;
}

// What differs from run to run.
std::string masked(std::string line) {
    static const std::pair<std::regex, const char*> MASKS[] = {
        {std::regex("\\d{4}-\\d\\d-\\d\\dT[0-9:.]+[+-]\\d{4}"), "TIME"},
        {std::regex("\\d\\d/\\d\\d/\\d{4} \\S+ [0-9:.]+ +\\d+ "), "TRACE "},
        {std::regex("\\w{3} \\w{3} \\d\\d [0-9:]{8} \\S+ \\d{4}"), "DATE"},
        {std::regex("started \\(\\d+\\.\\d+\\)"), "started"},
        {std::regex("^version +[0-9.]+$"), "VERSION"},
        {std::regex("127\\.\\d+\\.\\d+\\.\\d+"), "ADDRESS"},
        {std::regex("(ADDRESS:|port=|SMTPPort1?=)\\d+"), "$1PORT"},
        {std::regex(" \\d+/0x"), " ID/0x"},
        // A try may be under way at this very moment, and its message open.
        {std::regex("(retry +)(in \\d+ s|due) "), "$1SOON "},
        {std::regex("[01] of 100 waiting, [01] open, [1-9]\\d* of"), "ONE"},
    };
    for (const auto& [pattern, replacement] : MASKS) {
        line = std::regex_replace(line, pattern, replacement);
    }
    return line;
}

Lines maskedAll(const Lines& lines) {
    Lines result;
    for (const std::string& line : lines) {
        result.push_back(masked(line));
    }
    return result;
}

void expectOutput(const Step& step, Lines output) {
    Lines expected = step.output;
    if (!expected.empty() && expected.back() == ANY_LINES) {
        expected.pop_back();
        EXPECT_GT(output.size(), expected.size()) << "$ " << step.command;
        output.resize(std::min(output.size(), expected.size()));
    }
    EXPECT_EQ(maskedAll(output), maskedAll(expected)) << "$ " << step.command;
}

// Addresses of this machine that no other test listens on, so that a server finds its port free when it comes back.
std::string ownAddress() {
    const int number = getpid();
    return "127." + std::to_string(64 + ((number >> 16) & 127)) + "." + std::to_string((number >> 8) & 255) + "." +
           std::to_string(1 + (number & 127));
}

// A shell and all that it starts; nothing of it is left behind.
class Shell {
public:
    Shell(const std::string& script, const Environment& environment)
        : child_("/bin/bash", {script}, environment, [] { setpgid(0, 0); }) {}
    ~Shell() { kill(-child_.pid(), SIGKILL); }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // The output of the next step; ended says whether the step is over.
    Lines readStep(bool& ended) {
        Lines lines;
        for (std::string line = child_.readLine(); line.ends_with('\n'); line = child_.readLine()) {
            line.pop_back();
            if (line == STEP_ENDS) {
                ended = true;
                return lines;
            }
            lines.push_back(line);
        }
        ended = false;
        return lines;
    }

private:
    Child child_;
};

TEST(OperatorDoc, printsWhatItsCommandsPrint) {
    const std::vector<Step> steps = stepsIn(OPERATOR_DOC);
    ASSERT_GT(steps.size(), 40u);
    char pattern[] = "/tmp/operator-doc-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string directory = pattern;
    {
        std::ofstream script(directory + "/script");
        script << "cd " << TOP_DIRECTORY << " || exit\n";
        for (const Step& step : steps) {
            script << step.command << "\necho '" << STEP_ENDS << "'\n";
        }
    }
    const std::string path = std::string(PROGRAMS) + ":" + std::getenv("PATH");
    {
        Shell shell(directory + "/script", {{"PATH", path},
                                            {"TMPDIR", directory},
                                            {"MAIL_IP", ownAddress()},
                                            {"TZ", "UTC"},
                                            {"SWITCHCTL_QUIET", "1"}});
        for (const Step& step : steps) {
            bool ended = false;
            expectOutput(step, shell.readStep(ended));
            ASSERT_TRUE(ended) << "$ " << step.command;
        }
    }
    std::filesystem::remove_all(directory);
}

}  // namespace
