// ledger on a switch: its lines, its object, its exit status.
#include "testing/switchctl/StatusTest.h"

using testing::HasSubstr;

namespace {

class LedgerCommand : public StatusTest {};

TEST_F(LedgerCommand, aProbeWithoutTheCountsLeavesThemUnknown) {
    const Outcome result = run({"ledger"});

    EXPECT_EQ(result.status, ExitStatus::REFUSED);
    EXPECT_THAT(result.out,
                HasSubstr(": not known: orvApp's probe is of another version: it has not all the counts\n"));
}

TEST_F(LedgerCommand, theCountsOfADaemonThatIsSilentAreNotKnownAndTheEventLogIsToldAllTheSame) {
    log(orv_log::kMessageTooLarge);
    log(orv_log::kRestoreEntryFailed, "/q/m1");
    silent_ = true;

    const Outcome result = run({"ledger", "--timeout", "0.1"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_THAT(result.out, HasSubstr("over the whole event log, since 2023-11-14T22:13:20.123456+0000\n"
                                      "  refused       1 messages\n"
                                      "  not restored  1 files\n"
                                      "  given up      0 mails"));
    EXPECT_THAT(run({"ledger", "--json", "--timeout", "0.1"}).out,
                HasSubstr("\"log\":{\"since\":\"2023-11-14T22:13:20.123456+00:00\",\"complete\":true,\"refused\":1,"
                          "\"notRestored\":1,\"mailsGivenUp\":0,\"recipientsGivenUp\":0},\"schema\":1}"));
}

}  // namespace
