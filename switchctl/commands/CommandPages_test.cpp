// One source for --help and the pages: what every command is called and does stands in one table.
#include "switchctl/commands/CommandPages.h"

#include "switchctl/commands/Commands.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* PAGE = PAGES "/switchctl.md";
constexpr const char* MANUAL = PAGES "/man/switchctl.8";

class CommandPages : public testing::Test {
protected:
    CommandPages() { addCommands(tree_); }

    using Make = std::string(const std::string&, const CommandTree&);
    // Whether the page is as it ought to be; makes it so when that is asked for.
    void expectMade(const char* file, Make* make) const {
        std::ifstream stream(file);
        const std::string there(std::istreambuf_iterator<char>(stream), {});
        const std::string made = make(there, tree_);
        if (std::getenv("ORV_WRITE_PAGES") != nullptr) {
            std::ofstream(file) << made;
        } else {
            EXPECT_EQ(there, made) << "ORV_WRITE_PAGES=1 makes " << file << " anew";
        }
    }

    CommandTree tree_;
};

TEST_F(CommandPages, areMadeOfEveryCommandThatThereIs) {
    std::set<std::string> inTable;
    for (const CommandRow& row : knownCommands()) {
        EXPECT_TRUE(inTable.insert(row.text.synopsis).second) << row.text.synopsis;
    }
    std::set<std::string> inTree;
    for (const CommandTree::Known& known : tree_.commands()) {
        inTree.insert(known.text.synopsis);
    }

    EXPECT_EQ(inTable, inTree);
}

TEST_F(CommandPages, haveASummaryAnExampleAndAnObjectForEach) {
    for (const CommandRow& row : knownCommands()) {
        EXPECT_STRNE(row.text.object, "") << row.text.synopsis;
        EXPECT_STRNE(row.text.summary, "") << row.text.synopsis;
        EXPECT_STRNE(row.section, "") << row.text.synopsis;
        EXPECT_THAT(std::string(row.text.page), testing::AnyOf(IsEmpty(), testing::EndsWith("."))) << row.text.synopsis;
    }
}

TEST_F(CommandPages, showEveryArgumentWithWhatItMeans) {
    std::ifstream stream(MANUAL);
    const std::string manual(std::istreambuf_iterator<char>(stream), {});

    EXPECT_THAT(manual, HasSubstr(".B profile set \\fINAME\\fB \\fIOPTION\\fB...\n"
                                  "Change what is named, and leave the rest as it is.\n"
                                  ".RS\n.TP\n.B \\fINAME\\fB\nName of the profile.\n"));
    EXPECT_THAT(manual, HasSubstr(".B \\-n \\fIN\\fB, \\-\\-lines \\fIN\\fB\nOnly the last N.\n"));
}

TEST_F(CommandPages, areWhatThePageForOperatorsShows) {
    expectMade(PAGE, switchctlPage);
}

TEST_F(CommandPages, areWhatTheManualShows) {
    expectMade(MANUAL, switchctlManual);
}

TEST_F(CommandPages, haveEverySectionOfTheTable) {
    std::ifstream stream(PAGE);
    const std::string page(std::istreambuf_iterator<char>(stream), {});
    for (const CommandRow& row : knownCommands()) {
        EXPECT_THAT(page, HasSubstr("<!-- made: " + std::string(row.section) + " -->\n"));
    }
    EXPECT_THAT(page, HasSubstr("<!-- made: objects -->\n"));
}

TEST_F(CommandPages, keepWhatAPersonWroteAroundThem) {
    const std::string made = switchctlPage("a\n<!-- made: Events -->\nold\n<!-- end -->\nz\n", tree_);

    EXPECT_THAT(made, StartsWith("a\n<!-- made: Events -->\n- `event log "));
    EXPECT_THAT(made, testing::EndsWith("\n<!-- end -->\nz\n"));
    EXPECT_THAT(made, Not(HasSubstr("old")));
}

TEST_F(CommandPages, areNotMadeOfAPartWithoutAnEndOrThatNobodyKnowsNorOfNone) {
    EXPECT_THROW(switchctlPage("<!-- made: Events -->\n", tree_), std::runtime_error);
    EXPECT_THROW(switchctlManual(".SH THE SWITCH\n", tree_), std::runtime_error);
    EXPECT_THROW(switchctlPage("<!-- made: Nothing -->\n<!-- end -->\n", tree_), std::runtime_error);
}

}  // namespace
