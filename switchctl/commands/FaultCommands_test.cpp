#include "testing/switchctl/SwitchctlTest.h"

using testing::HasSubstr;

namespace {

using FaultCommands = SwitchctlTest;

TEST_F(FaultCommands, addPrintsTheFaultsNumberAndListShowsIt) {
    EXPECT_EQ(done({"fault", "list"}), "no faults\n");
    EXPECT_EQ(done({"fault", "add", "refuse", "--operation", "get", "--key", "Global.*", "--count", "2"}), "1\n");
    EXPECT_EQ(done({"fault", "add", "delay", "--ms", "500", "--count", "0"}), "2\n");

    EXPECT_EQ(done({"fault", "list"}),
              "NUMBER  KIND    OPERATION  KEY       COUNT\n"
              "1       refuse  get        Global.*  2\n"
              "2       delay   any        *         all\n");
    EXPECT_EQ(done({"fault", "list", "--json"}),
              "{\"faults\":[{\"fault\":1,\"kind\":\"refuse\",\"operation\":\"get\",\"key\":\"Global.*\",\"count\":2,"
              "\"milliseconds\":0,\"status\":-1},"
              "{\"fault\":2,\"kind\":\"delay\",\"operation\":\"any\",\"key\":\"*\",\"count\":0,"
              "\"milliseconds\":500,\"status\":-1}],\"schema\":1}\n");
}

TEST_F(FaultCommands, everyKindAndOperationHasItsName) {
    for (const char* kind : {"refuse", "bad-status", "delay", "hold", "drop-entry", "corrupt", "silent"}) {
        done({"fault", "add", kind});
        EXPECT_THAT(done({"fault", "list"}), HasSubstr(std::string("  ") + kind)) << kind;
        done({"fault", "clear"});
    }
    for (const char* operation : {"any", "connect", "get", "bulk-get", "set", "lookup"}) {
        done({"fault", "add", "silent", "--operation", operation});
        EXPECT_THAT(done({"fault", "list"}),
                    testing::ContainsRegex(std::string("\n[0-9]+ +silent +") + operation + " +\\* +1\n"));
        done({"fault", "clear"});
    }
}

TEST_F(FaultCommands, refuseWhatThereIsNot) {
    EXPECT_THAT(run({"fault", "add", "explode"}).err,
                HasSubstr("unknown fault \"explode\"; it is refuse, bad-status, delay, hold, drop-entry, corrupt or "
                          "silent\n"));
    EXPECT_THAT(run({"fault", "add", "refuse", "--operation", "all"}).err,
                HasSubstr("unknown operation \"all\"; it is any, connect, get, bulk-get, set or lookup\n"));
    EXPECT_THAT(run({"fault", "add", "refuse", "--operation", "lookup"}).err,
                HasSubstr("a lookup can only be silent; write fault add silent --operation lookup\n"));
    EXPECT_EQ(run({"fault", "remove", "7"}).status, ExitStatus::REFUSED);
    EXPECT_EQ(run({"fault", "remove"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(FaultCommands, areRemovedOneByOneOrAllAtOnce) {
    done({"fault", "add", "refuse"});
    done({"fault", "add", "corrupt"});
    done({"fault", "add", "silent"});

    EXPECT_EQ(done({"fault", "remove", "2"}), "");
    EXPECT_EQ(done({"fault", "list"}),
              "NUMBER  KIND    OPERATION  KEY  COUNT\n"
              "1       refuse  any        *    1\n"
              "3       silent  any        *    1\n");
    EXPECT_EQ(done({"fault", "clear"}), "removed 2\n");
    EXPECT_EQ(done({"fault", "list"}), "no faults\n");
    EXPECT_EQ(done({"fault", "release"}), "released 0\n");
}

class FaultEffect : public SwitchctlDaemonTest {};

TEST_F(FaultEffect, heldAnswersGoOutWhenReleased) {
    std::vector<std::string> answered;
    daemon_.onAttribute = [&](const DsAttrReply& reply) { answered.push_back(reply.entry.name); };
    done({"fault", "add", "hold", "--operation", "get"});
    ASSERT_EQ(daemon_.ds().getAttrReq(1, "Config.Switch.SymName", 1), 0);
    switch_.pump();
    EXPECT_EQ(answered.size(), 0u);

    EXPECT_EQ(done({"fault", "release"}), "released 1\n");

    switch_.pump();
    EXPECT_EQ(answered, std::vector<std::string>{"Config.Switch.SymName"});
}

}  // namespace
