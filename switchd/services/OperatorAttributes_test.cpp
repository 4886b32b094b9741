#include "switchd/services/OperatorAttributes.h"
#include "testing/OperatorSession.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class OperatorAttributesTest : public ::testing::Test {
protected:
    std::vector<std::string> keysOf(const AttributePage& page) {
        std::vector<std::string> keys;
        for (const Attribute& attribute : page.attributes) {
            keys.push_back(attribute.key);
        }
        return keys;
    }
    AttributePage list(const std::string& prefix, const std::string& after = "") {
        return decodeFields<AttributePage>(operator_.answerTo(OperatorCode::LIST, ListRequest{prefix, after}).body)
            .value();
    }

    LoopbackSwitch sw_;
    OperatorSession operator_{sw_};
};

}  // namespace

TEST_F(OperatorAttributesTest, getsAttributesInTheOrderAskedFor) {
    const OperatorAnswer answer = operator_.answerTo(
        OperatorCode::GET, KeyList{{"Global.Callhome.SMTPPort", "No.Such", "Config.Switch.AdminState"}});

    using Answer = AttributeAnswers::Answer;
    EXPECT_EQ(answer.status, OperatorStatus::OK);
    EXPECT_THAT(decodeFields<AttributeAnswers>(answer.body)->answers,
                ElementsAre(Answer{true, {"Global.Callhome.SMTPPort", 2, "25"}}, Answer{false, {"No.Such", 1, ""}},
                            Answer{true, {"Config.Switch.AdminState", 1, "Online"}}));
}

TEST_F(OperatorAttributesTest, refusesToGetMoreThanOneAnswerHolds) {
    sw_.set("Big", std::string(AttributeStore::MAX_VALUE, 'x'));

    const OperatorAnswer answer = operator_.answerTo(OperatorCode::GET, KeyList{std::vector<std::string>(3, "Big")});

    EXPECT_EQ(answer.status, OperatorStatus::REFUSED);
    EXPECT_EQ(answer.reason, "the values are too long for one answer");
}

TEST_F(OperatorAttributesTest, listsWhatBeginsWithAPrefix) {
    sw_.set("List.2", "b");
    sw_.set("List.1", "a");
    sw_.set("Lost", "c");

    const AttributePage page = list("List.");

    EXPECT_THAT(page.attributes, ElementsAre(Attribute{"List.1", 1, "a"}, Attribute{"List.2", 1, "b"}));
    EXPECT_FALSE(page.more);
}

TEST_F(OperatorAttributesTest, listsInPagesThatHoldAtLeastOneAttribute) {
    const std::string big(OperatorAttributes::PAGE_BYTES + 1, 'x');
    sw_.set("P.1", big);
    sw_.set("P.2", "small");
    sw_.set("P.3", "small");
    sw_.set("P.4", big);

    const AttributePage first = list("P.");
    EXPECT_THAT(keysOf(first), ElementsAre("P.1"));
    EXPECT_TRUE(first.more);
    const AttributePage second = list("P.", "P.1");
    EXPECT_THAT(keysOf(second), ElementsAre("P.2", "P.3"));
    EXPECT_TRUE(second.more);
    const AttributePage third = list("P.", "P.3");
    EXPECT_THAT(keysOf(third), ElementsAre("P.4"));
    EXPECT_FALSE(third.more);
    EXPECT_THAT(keysOf(list("P.", "P.4")), IsEmpty());
}

TEST_F(OperatorAttributesTest, changesAttributesInOneStepAndNamesWhatWasNotThere) {
    sw_.set("Old", "x");

    const OperatorAnswer answer = operator_.answerTo(
        OperatorCode::CHANGE, ChangeRequest{{{"New", 2, "1"}, {"Text", 1, "t"}}, {"Old", "Never.Was"}});

    EXPECT_EQ(answer.status, OperatorStatus::OK);
    EXPECT_THAT(decodeFields<KeyList>(answer.body)->keys, ElementsAre("Never.Was"));
    EXPECT_EQ(sw_.attribute("New"), "1");
    EXPECT_EQ(sw_.attribute("Text"), "t");
    EXPECT_EQ(sw_.attribute("Old"), std::nullopt);
}

TEST_F(OperatorAttributesTest, changesNothingWhenOneKeyIsBad) {
    const OperatorAnswer answer =
        operator_.answerTo(OperatorCode::CHANGE, ChangeRequest{{{"New", 1, "1"}, {"a b", 1, "t"}}, {}});

    EXPECT_EQ(answer.status, OperatorStatus::FAILED);
    EXPECT_EQ(answer.reason, "an attribute name must consist of printable characters without blanks and '='");
    EXPECT_THAT(answer.body, IsEmpty());
    EXPECT_EQ(sw_.attribute("New"), std::nullopt);
}
