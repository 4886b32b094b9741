// What each program answers on its command line, without a bus and without touching anything.
#include "Descriptor.h"
#include "orv_version.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Answer {
    int status;
    std::string out;
    std::string err;
};

class CommandLine : public SwitchProcesses {
protected:
    // Of a program that knows a root of its own and no bus.
    Answer answer(const std::string& program, const Words& arguments) const {
        const std::string errFile = directory() + "/err";
        Child child(program, arguments, {{"HSB_ROOT", root()}}, [&errFile] {
            const Descriptor file(open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
            dup2(file.get(), STDERR_FILENO);
        });
        Answer result;
        result.out = child.readAll();
        result.status = child.wait();
        std::ifstream err(errFile);
        result.err.assign(std::istreambuf_iterator<char>(err), {});
        return result;
    }

    void expectNothingTouched() const { EXPECT_TRUE(std::filesystem::is_empty(root())); }

    void SetUp() override { std::filesystem::create_directory(root()); }
};

TEST_F(CommandLine, switchctlTellsOnceThatItHasWaitedASecond) {
    const auto waiting = [this](const Environment& more) {
        Environment environment = {{"HSB_ROOT", root()}, {"HSB_BUS", bus_.address()}};
        environment.insert(more.begin(), more.end());
        Child child("/bin/sh", {"-c", "\"$0\" attr list --timeout 1.5 2>&1", Program::SWITCHCTL}, environment);
        return child.readAll();
    };

    EXPECT_THAT(waiting({}), StartsWith("switchctl: waiting for an answer\n"));
    EXPECT_THAT(waiting({{"SWITCHCTL_QUIET", "1"}}), testing::Not(HasSubstr("waiting for an answer")));
}

TEST_F(CommandLine, switchctlColoursItsHeadingOnATerminalAlone) {
    const std::unique_ptr<Child> switchd = startSwitchd();
    const auto onTerminal = [this](const Environment& more) {
        Environment all = environment();
        all.insert(more.begin(), more.end());
        Child child("/usr/bin/script", {"-qec", std::string(Program::SWITCHCTL) + " status", "/dev/null"}, all);
        return child.readAll();
    };

    EXPECT_THAT(onTerminal({}), StartsWith("\x1b[31mCallHome cannot send. What to mend, in this order:\x1b[0m\r\n"));
    EXPECT_THAT(onTerminal({{"NO_COLOR", "1"}}), StartsWith("CallHome cannot send."));
    EXPECT_THAT(switchctl({"status"}).output, testing::Not(HasSubstr("\x1b")));
}

struct Named {
    const char* name;
    const char* const& program;
};

class EveryProgram : public CommandLine, public testing::WithParamInterface<Named> {};

TEST_P(EveryProgram, printsItsNameAndTheVersionOfTheProject) {
    const Answer result = answer(GetParam().program, {"--version"});

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, std::string(GetParam().name) + " " ORV_VERSION "\n");
    EXPECT_EQ(result.err, "");
    expectNothingTouched();
}

TEST_P(EveryProgram, printsItsHelp) {
    const Answer result = answer(GetParam().program, {"--help"});

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr(std::string("Usage: ") + GetParam().name));
    EXPECT_THAT(result.out, HasSubstr("--version"));
    EXPECT_EQ(result.err, "");
    expectNothingTouched();
}

TEST_P(EveryProgram, refusesAnArgumentThatItDoesNotKnow) {
    for (const Words& wrong : {Words{"--verbose"}, Words{"no-such-word"}, Words{""}, Words{"-x", "--y"}}) {
        const Answer result = answer(GetParam().program, wrong);

        EXPECT_EQ(result.status, 2) << wrong.front();
        EXPECT_EQ(result.out, "") << wrong.front();
        EXPECT_THAT(result.err, StartsWith(std::string(GetParam().name) + ": ")) << wrong.front();
        expectNothingTouched();
    }
}

TEST_P(EveryProgram, saysThatItsAnswerCouldNotBeWritten) {
    for (const char* const argument : {"--version", "--help"}) {
        Child child(GetParam().program, {argument}, {{"HSB_ROOT", root()}},
                    [] { dup2(Descriptor(open("/dev/full", O_WRONLY)).get(), STDOUT_FILENO); });

        EXPECT_THAT(child.readAll(), StartsWith(std::string(GetParam().name) + ": ")) << argument;
        EXPECT_EQ(child.wait(), 1) << argument;
    }
}

INSTANTIATE_TEST_SUITE_P(Programs, EveryProgram,
                         testing::Values(Named{"orvApp", Program::DAEMON}, Named{"switchd", Program::SWITCHD},
                                         Named{"switchctl", Program::SWITCHCTL}),
                         [](const auto& test) { return test.param.name; });

TEST_F(CommandLine, ofTheDaemonTakesOneArgumentOnly) {
    for (const Words& wrong : {Words{"--version", "--help"}, Words{"--help", "more"}, Words{"--version", ""}}) {
        const Answer result = answer(Program::DAEMON, wrong);

        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "orvApp: it takes no arguments but --version or --help\n");
        expectNothingTouched();
    }
}

}  // namespace
