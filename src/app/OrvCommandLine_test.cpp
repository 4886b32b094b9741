#include "app/OrvCommandLine.h"

#include "Descriptor.h"
#include "orv_version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// What the daemon says to its arguments: on stdout, on stderr, and its status.
struct Answer {
    std::optional<int> status;
    std::string out;
    std::string err;
};

Answer answerTo(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "orvApp");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Answer answer;
    answer.status = orvAnswerCommandLine(static_cast<int>(arguments.size()), arguments.data());
    answer.out = testing::internal::GetCapturedStdout();
    answer.err = testing::internal::GetCapturedStderr();
    return answer;
}

TEST(OrvCommandLine, saysThatStdoutCannotBeWritten) {
    std::fflush(stdout);
    const Descriptor before(dup(STDOUT_FILENO));
    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const char* const arguments[] = {"orvApp", "--version"};
    testing::internal::CaptureStderr();

    dup2(full.get(), STDOUT_FILENO);
    const auto status = orvAnswerCommandLine(2, arguments);
    std::clearerr(stdout);
    dup2(before.get(), STDOUT_FILENO);

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "orvApp: stdout cannot be written\n");
    EXPECT_EQ(status, 1);
}

TEST(OrvCommandLine, withoutArgumentsTheDaemonRuns) {
    const Answer answer = answerTo({});
    EXPECT_EQ(answer.status, std::nullopt);
    EXPECT_EQ(answer.out + answer.err, "");
    EXPECT_EQ(orvAnswerCommandLine(0, nullptr), std::nullopt);
}

TEST(OrvCommandLine, saysItsVersion) {
    const Answer answer = answerTo({"--version"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.out, "orvApp " ORV_VERSION "\n");
    EXPECT_EQ(answer.err, "");
}

TEST(OrvCommandLine, saysWhatItReadsFromItsEnvironment) {
    const Answer answer = answerTo({"--help"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.out, StartsWith("Usage: orvApp\n"));
    EXPECT_THAT(answer.out, HasSubstr("HSB_ROOT"));
    EXPECT_THAT(answer.out, HasSubstr("HSB_TIME_SCALE"));
    EXPECT_THAT(answer.out, HasSubstr("ORV_SMTP_DIALOGUE"));
    EXPECT_EQ(answer.err, "");
}

TEST(OrvCommandLine, refusesEverythingElse) {
    const std::vector<std::vector<const char*>> wrong{
        {"--verbose"}, {""}, {"-h"}, {"--version", "--help"}, {"--help", "x"}};
    for (const auto& arguments : wrong) {
        const Answer answer = answerTo(arguments);
        EXPECT_EQ(answer.status, 2) << arguments.front();
        EXPECT_EQ(answer.out, "");
        EXPECT_EQ(answer.err, "orvApp: it takes no arguments but --version or --help\n");
    }
}

}  // namespace
