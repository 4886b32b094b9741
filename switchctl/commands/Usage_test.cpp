// What every command has in common: help, wrong usage, and a switch that cannot be reached.
#include "switchctl/Switchctl.h"
#include "switchctl/text/Errors.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

using Line = std::vector<std::string>;

// All commands, and the words that lead to them.
const std::vector<Line> COMMANDS = {
    {"wait"},
    {"status"},
    {"watch"},
    {"doctor"},
    {"attr", "get"},
    {"attr", "set"},
    {"attr", "list"},
    {"attr", "load"},
    {"attr", "unset"},
    {"event", "log"},
    {"event", "state"},
    {"event", "address"},
    {"event", "hostname"},
    {"event", "raw"},
    {"callhome", "profile-change"},
    {"callhome", "test"},
    {"callhome", "clear-queue"},
    {"callhome", "processed"},
    {"callhome", "changeover"},
    {"callhome", "queue"},
    {"callhome", "probe"},
    {"callhome", "request"},
    {"callhome", "message"},
    {"callhome", "setup"},
    {"ledger"},
    {"explain"},
    {"timeline"},
    {"serve"},
    {"queue", "list"},
    {"queue", "show"},
    {"queue", "export"},
    {"queue", "try"},
    {"queue", "clear"},
    {"preview", "event"},
    {"preview", "capture"},
    {"rehearse"},
    {"metrics"},
    {"profile", "list"},
    {"profile", "show"},
    {"profile", "add"},
    {"profile", "set"},
    {"profile", "remove"},
    {"log"},
    {"fault", "add"},
    {"fault", "list"},
    {"fault", "remove"},
    {"fault", "clear"},
    {"fault", "release"},
};
const std::vector<Line> GROUPS = {{},        {"attr"},    {"event"},   {"callhome"},
                                  {"queue"}, {"preview"}, {"profile"}, {"fault"}};

class Usage : public testing::Test {
protected:
    int run(Line line) {
        const auto connect = [this](std::chrono::milliseconds patience) -> Transport* {
            ++connects_;
            patience_ = patience;
            return nullptr;
        };
        out_.str("");
        err_.str("");
        return runSwitchctl(line, connect, out_, err_);
    }
    static Line with(Line line, const std::string& word) {
        line.push_back(word);
        return line;
    }
    static std::string joined(const Line& line) {
        std::string text;
        for (const std::string& word : line) {
            text += (text.empty() ? "" : " ") + word;
        }
        return text;
    }

    int connects_ = 0;
    std::chrono::milliseconds patience_{};
    std::ostringstream out_;
    std::ostringstream err_;
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(Usage, helpFitsAScreenEverywhereAndNeedsNoSwitch) {
    std::vector<Line> all = COMMANDS;
    all.insert(all.end(), GROUPS.begin(), GROUPS.end());
    for (const Line& line : all) {
        EXPECT_EQ(run(with(line, "--help")), ExitStatus::DONE) << joined(line);
        EXPECT_EQ(err_.str(), "");
        const auto lines = linesOf(out_.str());
        // All commands together are more than the lines of the smallest screen.
        EXPECT_LE(lines.size(), line.empty() ? 30u : 24u) << joined(line);
        EXPECT_THAT(lines,
                    Each(testing::ResultOf([](const std::string& each) { return each.size(); }, testing::Le(80u))))
            << joined(line);
    }
    EXPECT_EQ(connects_, 0);
}

TEST_F(Usage, helpOfACommandHasItsSynopsisAndAnExample) {
    for (const Line& line : COMMANDS) {
        run(with(line, "--help"));
        EXPECT_THAT(out_.str(), StartsWith("Usage: switchctl " + joined(line) + " [-h]")) << joined(line);
        EXPECT_THAT(out_.str(), HasSubstr("\nExample:\n  switchctl " + joined(line))) << joined(line);
    }
}

TEST_F(Usage, helpOfAGroupNamesItsCommands) {
    run({"--help"});
    for (const char* word : {"wait", "status", "watch", "doctor", "attr", "event", "callhome", "queue", "ledger",
                             "explain", "timeline", "profile", "log", "serve", "fault"}) {
        EXPECT_THAT(out_.str(), HasSubstr(std::string("\n  ") + word + " "));
    }
    for (const Line& line : COMMANDS) {
        if (line.size() == 2) {
            run({line[0], "--help"});
            EXPECT_THAT(out_.str(), HasSubstr("\n  " + line[1] + " "));
            EXPECT_THAT(out_.str(), HasSubstr("Usage: switchctl " + line[0] + " [-h] COMMAND ..."));
        }
    }
}

TEST_F(Usage, unknownArgumentIsNamedWithSynopsisAndExample) {
    for (const Line& line : COMMANDS) {
        EXPECT_EQ(run(with(line, "--nonsense")), ExitStatus::WRONG_USAGE) << joined(line);
        EXPECT_EQ(out_.str(), "");
        const auto lines = linesOf(err_.str());
        ASSERT_THAT(lines, SizeIs(3)) << err_.str();
        EXPECT_THAT(lines[0], StartsWith("switchctl: "));
        EXPECT_THAT(lines[1], StartsWith("usage: switchctl " + joined(line)));
        EXPECT_THAT(lines[2], StartsWith("example: switchctl " + joined(line)));
    }
    EXPECT_EQ(connects_, 0);
}

TEST_F(Usage, asksWhatWasMeantByASlip) {
    run({"statsu"});
    EXPECT_EQ(err_.str(), "switchctl: there is no command \"statsu\"; did you mean status?; see switchctl --help\n");
    run({"profile", "lst"});
    EXPECT_THAT(err_.str(), HasSubstr("; did you mean list?; see switchctl profile --help\n"));
    run({"log", "--sinze", "1"});
    EXPECT_THAT(linesOf(err_.str())[0], testing::EndsWith("; did you mean --since?"));
    run({"log", "--timout=1"});
    EXPECT_THAT(linesOf(err_.str())[0], testing::EndsWith("; did you mean --timeout?"));
}

TEST_F(Usage, everyExampleIsUnderstood) {
    for (const Line& line : COMMANDS) {
        run(with(line, "--nonsense"));
        const std::string example = linesOf(err_.str())[2].substr(std::string("example: switchctl ").size());
        Line words;
        std::string word;
        char quote = '\0';
        for (const char c : example + " ") {
            if (c == '"' || c == '\'') {
                quote = quote == '\0' ? c : '\0';
            } else if (c == ' ' && quote == '\0') {
                words.push_back(word);
                word.clear();
            } else {
                word += c;
            }
        }
        // attr load names a file that is not there; explain asks nobody.
        const int expected = joined(line) == "attr load" ? ExitStatus::WRONG_USAGE
                             : joined(line) == "explain" ? ExitStatus::DONE
                                                         : ExitStatus::NO_ANSWER;
        EXPECT_EQ(run(words), expected) << example << "\n" << err_.str();
    }
}

TEST_F(Usage, aGroupNeedsACommand) {
    for (const Line& line : GROUPS) {
        EXPECT_EQ(run(line), ExitStatus::WRONG_USAGE) << joined(line);
        EXPECT_THAT(err_.str(), StartsWith("switchctl: A subcommand is required\n"));
        EXPECT_EQ(run(with(line, "nonsense")), ExitStatus::WRONG_USAGE) << joined(line);
        EXPECT_EQ(err_.str(), "switchctl: there is no command \"nonsense\"; see switchctl " +
                                  (line.empty() ? "" : joined(line) + " ") + "--help\n");
    }
}

TEST_F(Usage, aSwitchThatCannotBeReachedGivesNoAnswer) {
    EXPECT_EQ(run({"status"}), ExitStatus::NO_ANSWER);
    EXPECT_EQ(err_.str(), "switchctl: switchd cannot be reached\n");
    EXPECT_EQ(patience_, std::chrono::seconds(10));
}

TEST_F(Usage, waitAsksOnceForASwitchThatCannotBeReached) {
    EXPECT_EQ(run({"wait", "orvApp", "started"}), ExitStatus::NO_ANSWER);
    EXPECT_EQ(err_.str(), "switchctl: switchd cannot be reached\n");
    EXPECT_EQ(connects_, 1);
}

TEST_F(Usage, timeoutMayStandAnywhereAndIsANumberOfSeconds) {
    for (const Line& line : {Line{"--timeout", "0.5", "status"}, Line{"status", "--timeout", "0.5"},
                             Line{"attr", "list", "--timeout=0.5"}}) {
        EXPECT_EQ(run(line), ExitStatus::NO_ANSWER);
        EXPECT_EQ(patience_, std::chrono::milliseconds(500));
    }
    for (const char* text : {"0", "-1", "soon", "1s", "nan", "inf", "1e9", ""}) {
        EXPECT_EQ(run({"status", "--timeout", text}), ExitStatus::WRONG_USAGE) << text;
        EXPECT_THAT(err_.str(),
                    HasSubstr(std::string("\"") + text + "\" is not a number of seconds from above 0 to 1000000"));
    }
}

TEST_F(Usage, outputThatCannotBeWrittenIsAFailure) {
    std::ofstream full("/dev/full");
    const OperatorClient::Connect connect = [](std::chrono::milliseconds) -> Transport* { return nullptr; };

    EXPECT_EQ(runSwitchctl({"--help"}, connect, full, err_), ExitStatus::REFUSED);
    EXPECT_EQ(err_.str(), "switchctl: cannot write: No space left on device\n");

    full.clear();
    err_.str("");
    EXPECT_EQ(runSwitchctl({"status", "--json"}, connect, full, err_), ExitStatus::REFUSED);
    EXPECT_EQ(err_.str(), "switchctl: switchd cannot be reached\nswitchctl: cannot write: No space left on device\n");
}

TEST_F(Usage, jsonTellsFailuresInOneObjectToo) {
    EXPECT_EQ(run({"status", "--json"}), ExitStatus::NO_ANSWER);
    EXPECT_EQ(out_.str(), "{\"error\":\"no answer\",\"reason\":\"switchd cannot be reached\",\"schema\":1}\n");
    EXPECT_EQ(run({"--json", "profile", "show"}), ExitStatus::WRONG_USAGE);
    EXPECT_EQ(out_.str(), "{\"error\":\"usage\",\"reason\":\"NAME is required\",\"schema\":1}\n");
    EXPECT_EQ(run({"attr", "set", "x", "--json"}), ExitStatus::WRONG_USAGE);
    EXPECT_EQ(out_.str(), "{\"error\":\"usage\",\"reason\":\"\\\"x\\\" has no '='; write KEY=VALUE\",\"schema\":1}\n");
}

TEST_F(Usage, whatAnErrorRepeatsOfTheLineDoesNothingToTheTerminal) {
    for (const Line& line :
         {Line{"callhome", "setup", "--smtp", "3-a\nb\x1b[1m:25"}, Line{"status", "--timeout", "\x1b"},
          Line{"log", "--level", "\x1b\n"}, Line{"wait", "orvApp", "\x1b"}}) {
        EXPECT_EQ(run(line), ExitStatus::WRONG_USAGE);
        EXPECT_THAT(err_.str(), testing::Not(HasSubstr("\x1b")));
        EXPECT_THAT(linesOf(err_.str()), SizeIs(3)) << err_.str();
    }
    EXPECT_EQ(run({"\x1b\n"}), ExitStatus::WRONG_USAGE);
    EXPECT_EQ(err_.str(), "switchctl: there is no command \"\\x1b\\n\"; see switchctl --help\n");
}

}  // namespace
