#include "testing/switchctl/SwitchctlTest.h"

#include <fstream>

using testing::HasSubstr;

namespace {

using AttributeCommands = SwitchctlTest;

TEST_F(AttributeCommands, getPrintsKeyAndValueInTheOrderAskedFor) {
    switch_.set("B.Key", "two words");
    switch_.set("A.Key", "");

    EXPECT_EQ(done({"attr", "get", "B.Key", "A.Key"}), "B.Key=two words\nA.Key=\n");
    EXPECT_EQ(done({"--json", "attr", "get", "B.Key", "A.Key"}),
              "{\"attributes\":{\"B.Key\":\"two words\",\"A.Key\":\"\"},\"missing\":[],\"schema\":1}\n");
}

TEST_F(AttributeCommands, getShowsControlCharactersOnOneLine) {
    switch_.set("A.Key", "a\nb\x1b");

    EXPECT_EQ(done({"attr", "get", "A.Key"}), "A.Key=a\\nb\\x1b\n");
    EXPECT_EQ(done({"attr", "get", "A.Key", "--json"}),
              "{\"attributes\":{\"A.Key\":\"a\\nb\\u001b\"},\"missing\":[],\"schema\":1}\n");
}

TEST_F(AttributeCommands, jsonSurvivesBytesThatAreNoText) {
    switch_.set("A.Key", "\xFFx");

    EXPECT_EQ(done({"attr", "get", "A.Key", "--json"}),
              "{\"attributes\":{\"A.Key\":\"\xEF\xBF\xBDx\"},\"missing\":[],\"schema\":1}\n");
}

TEST_F(AttributeCommands, getNamesWhatIsNotSetAndPrintsTheRest) {
    switch_.set("A.Key", "1");

    const Outcome result = run({"attr", "get", "No.Key", "A.Key", "Nor.This"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.out, "A.Key=1\n");
    EXPECT_EQ(result.err, "switchctl: not set: No.Key, Nor.This\n");
}

TEST_F(AttributeCommands, setStoresAll) {
    EXPECT_EQ(done({"attr", "set", "A.Key=1", "B.Key=a=b c", "C.Key="}), "");

    EXPECT_EQ(switch_.attribute("A.Key"), "1");
    EXPECT_EQ(switch_.attribute("B.Key"), "a=b c");
    EXPECT_EQ(switch_.attribute("C.Key"), "");
}

TEST_F(AttributeCommands, setKeepsTheTypeOfWhatIsThere) {
    done({"attr", "set", "Global.Callhome.SMTPPort=26", "A.Key=1"});

    Attribute port;
    Attribute other;
    ASSERT_EQ(switch_.store().get("Global.Callhome.SMTPPort", port), StoreStatus::OK);
    ASSERT_EQ(switch_.store().get("A.Key", other), StoreStatus::OK);
    EXPECT_EQ(port, (Attribute{"Global.Callhome.SMTPPort", 2, "26"}));
    EXPECT_EQ(other.type, 1u);
}

TEST_F(AttributeCommands, setRefusesWhatIsNoKeyAndValue) {
    const std::pair<const char*, const char*> cases[] = {
        {"A.Key", "\"A.Key\" has no '='; write KEY=VALUE"},
        {"=1", "\"\" cannot be a key; a key has 1 to 255 characters"},
        {"A Key=1", "\"A Key\" cannot be a key; a key has no blanks, no '=' and nothing but ASCII characters"},
        {"A\tKey=1", "\"A\\tKey\" cannot be a key; a key has no blanks, no '=' and nothing but ASCII characters"},
    };
    for (const auto& [text, reason] : cases) {
        const Outcome result = run({"attr", "set", "B.Key=1", text});
        EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE) << text;
        EXPECT_EQ(result.err, std::string("switchctl: ") + reason +
                                  "\nusage: switchctl attr set KEY=VALUE...\nexample: switchctl attr set "
                                  "Config.Switch.SymName=sw01 \"Global.Snmp.Location=Rack 7\"\n");
    }
    EXPECT_EQ(switch_.attribute("B.Key"), std::nullopt);
}

TEST_F(AttributeCommands, setTakesAKeyOf255CharactersAndNoLonger) {
    EXPECT_EQ(run({"attr", "set", std::string(255, 'k') + "=1"}).status, ExitStatus::DONE);
    EXPECT_EQ(run({"attr", "set", std::string(256, 'k') + "=1"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(AttributeCommands, listPrintsWhatBeginsWithThePrefixInOrder) {
    switch_.set("Zz.B", "2");
    switch_.set("Zz.A", "1");
    switch_.set("Zzz", "3");

    EXPECT_EQ(done({"attr", "list", "Zz."}), "Zz.A=1\nZz.B=2\n");
    EXPECT_EQ(done({"attr", "list", "Nothing."}), "");
    EXPECT_EQ(done({"--json", "attr", "list", "Nothing."}), "{\"attributes\":{},\"schema\":1}\n");
    EXPECT_THAT(done({"attr", "list"}), HasSubstr("Default.Mfg.AllowCallhome=True\n"));
}

TEST_F(AttributeCommands, listReadsAsManyPagesAsThereAre) {
    std::string expected;
    for (int number = 100; number < 104; ++number) {
        const std::string value(500000, static_cast<char>('a' + number % 26));
        switch_.set("Zz." + std::to_string(number), value);
        expected += "Zz." + std::to_string(number) + "=" + value + "\n";
    }

    EXPECT_EQ(done({"attr", "list", "Zz."}), expected);
}

TEST_F(AttributeCommands, unsetRemoves) {
    switch_.set("A.Key", "1");
    switch_.set("B.Key", "2");

    EXPECT_EQ(done({"attr", "unset", "A.Key", "B.Key"}), "");

    EXPECT_EQ(switch_.attribute("A.Key"), std::nullopt);
    EXPECT_EQ(switch_.attribute("B.Key"), std::nullopt);
}

TEST_F(AttributeCommands, unsetNamesWhatWasNotSetAndRemovesTheRest) {
    switch_.set("A.Key", "1");

    const Outcome result = run({"attr", "unset", "A.Key", "No.Key"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_EQ(result.err, "switchctl: not set: No.Key\n");
    EXPECT_EQ(switch_.attribute("A.Key"), std::nullopt);
}

class AttributeLoad : public SwitchctlTest {
protected:
    std::string file(const std::string& text) {
        const std::string path = switch_.root().at("/tmp/attributes");
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(AttributeLoad, takesLinesOfKeyAndValueAndComments) {
    EXPECT_EQ(done({"attr", "load", file("# a comment\n\n  # another\nA.Key=1\r\n  B.Key= two \nC.Key=#3")}), "");

    EXPECT_EQ(switch_.attribute("A.Key"), "1");
    EXPECT_EQ(switch_.attribute("B.Key"), " two ");
    EXPECT_EQ(switch_.attribute("C.Key"), "#3");
}

TEST_F(AttributeLoad, takesWhatListPrints) {
    const std::string before = done({"attr", "list"});

    done({"attr", "load", file(before)});

    EXPECT_EQ(done({"attr", "list"}), before);
}

TEST_F(AttributeLoad, namesTheLineThatIsWrongAndLoadsNothing) {
    const std::string path = file("A.Key=1\n\nno value\n");

    const Outcome result = run({"attr", "load", path});

    EXPECT_EQ(result.status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(result.err, "switchctl: " + path +
                              ":3: \"no value\" has no '='; write KEY=VALUE\nusage: switchctl attr load FILE\n"
                              "example: switchctl attr load lab.attributes\n");
    EXPECT_EQ(switch_.attribute("A.Key"), std::nullopt);
}

TEST_F(AttributeLoad, saysWhyAFileCannotBeRead) {
    EXPECT_THAT(run({"attr", "load", "/nowhere/at/all"}).err,
                HasSubstr("switchctl: cannot read /nowhere/at/all: No such file or directory\n"));
    EXPECT_EQ(run({"attr", "load", "/nowhere/at/all"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"attr", "load", "/"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(AttributeLoad, takesAnEmptyFile) {
    EXPECT_EQ(done({"attr", "load", file("")}), "");
}

}  // namespace
