// The catalogue of problems, and the page that is made from it.
#include "switchctl/status/Problems.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

namespace {

constexpr const char* PROBLEMS_PAGE = PAGES "/troubleshooting.md";

TEST(Problems, haveAnIdEachATextARemedyAndAMeaning) {
    std::set<std::string> ids;
    for (const ProblemRow& row : knownProblems()) {
        EXPECT_TRUE(ids.insert(row.kind.id).second) << row.kind.id;
        EXPECT_EQ(std::string(row.kind.id).find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos);
        for (const char* text : {row.kind.text, row.kind.remedy, row.kind.page, row.kind.cause, row.section}) {
            EXPECT_STRNE(text, "") << row.kind.id;
        }
    }
    EXPECT_GT(ids.size(), 60u);
}

TEST(Problems, areFilledInFromTheTextToTheRemedy) {
    const StatusProblem problem = problem::kProfileLevel("Ops", "loud{}", "3");

    EXPECT_EQ(problem.text, "the profile Ops has a level that there is not, \"loud{}\": no event reaches it");
    EXPECT_EQ(problem.remedy,
              "switchctl attr set Global.CallhomeDB.Profile.3.Level=Warn && switchctl callhome profile-change");
    EXPECT_EQ(problem.id, "profile-level");
    EXPECT_EQ(problem.state, ProblemState::BLOCKED);
}

TEST(Problems, keepWhatAServerSaysOnOneLine) {
    EXPECT_EQ(problem::kServerNone("x:25", "a\r\nb").text, "what answers at x:25 is no mail server: \"a\\x0d\\nb\"");
}

TEST(Problems, areWhatThePageForOperatorsShows) {
    if (std::getenv("ORV_WRITE_PAGES") != nullptr) {
        std::ofstream(PROBLEMS_PAGE) << troubleshootingPage();
    }
    std::ifstream stream(PROBLEMS_PAGE);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), troubleshootingPage())
        << "ORV_WRITE_PAGES=1 makes docs/troubleshooting.md anew";
}

}  // namespace
