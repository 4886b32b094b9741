// What every way to deliver an envelope shares: its recipients' marks, and the entries about them.
#include "smtp/OrvEnvelopeDialogue.h"

#include "testing/smtp/MailFixture.h"
#include "testing/smtp/PlayedSystem.h"
#include "testing/smtp/SendFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

using Envelope = OrvCHEnvelope;

constexpr char kLong[] = "somebody.with.a.long.name@example.com";

// Says aloud what a way to deliver does within.
class OpenDialogue final : public OrvEnvelopeDialogue {
public:
    OpenDialogue(const OrvSendParties& parties, const std::string& clientIdentity, OrvCHEnvelope& envelope)
        : OrvEnvelopeDialogue(parties, clientIdentity, envelope) {}

    using OrvEnvelopeDialogue::addressAt;
    using OrvEnvelopeDialogue::makeRoomForMarks;
    using OrvEnvelopeDialogue::markAt;
    using OrvEnvelopeDialogue::refusals_;
    using OrvEnvelopeDialogue::replaceMarks;
    using OrvEnvelopeDialogue::reportNobodyAccepted;
    using OrvEnvelopeDialogue::reportRecipient;
    using OrvEnvelopeDialogue::senderAddress;
    using OrvEnvelopeDialogue::setDone;
    using OrvEnvelopeDialogue::setMark;
    using OrvEnvelopeDialogue::traceBeginning;
};

class OrvEnvelopeDialogueOf : public MailTest {
protected:
    OpenDialogue& to(const std::vector<std::string>& recipients, const std::string& profile = "noc") {
        message_ = portEvent();
        envelope_ = &addEnvelope(*message_, profile, recipients);
        parties_ = std::make_unique<OrvSendParties>(
            OrvSendParties{client_, identity_.common(), reporter_, server(), *message_});
        dialogue_ = std::make_unique<OpenDialogue>(*parties_, clientIdentity_, *envelope_);
        dialogue_->refusals_.assign(recipients.size(), "");
        return *dialogue_;
    }

    static OrvMailServer server() {
        OrvMailServer settings;
        settings.Address = "192.0.2.1";
        settings.Port = 2525;
        return settings;
    }
    // The entry about a recipient of "noc", and the one about the reply that refused it.
    static std::vector<std::string> twoEntries(const char* recipient, const char* reply) {
        return {logLine(orv_log::kRecipientRetry, "noc", recipient, "192.0.2.1", 2525),
                logLine(orv_log::kRecipientRefused, "noc", recipient, "192.0.2.1", 2525, reply)};
    }

    PlayedSystem system_;
    OrvSMTPClient client_{{}, system_};
    TestIdentity identity_{fullIdentity()};
    RecordingReporter reporter_;
    const std::string clientIdentity_ = "10.1.2.3";
    std::unique_ptr<OrvCHMesg> message_;
    OrvCHEnvelope* envelope_ = nullptr;  // the message's
    std::unique_ptr<OrvSendParties> parties_;
    std::unique_ptr<OpenDialogue> dialogue_;
};

}  // namespace

TEST_F(OrvEnvelopeDialogueOf, aRecipientTellsItsMarkAndItsAddressWithoutIt) {
    const OpenDialogue& dialogue = to({"a@x", "!b@x", "#c@x", "$d@x", "%e@x", ""});
    const std::pair<char, const char*> expected[] = {{Envelope::kNoMark, "a@x"},       {Envelope::kDelivered, "b@x"},
                                                     {Envelope::kGivenUp, "c@x"},      {Envelope::kRefusedOnce, "d@x"},
                                                     {Envelope::kRefusedTwice, "e@x"}, {Envelope::kNoMark, ""}};
    std::size_t position = 0;
    for (const auto& [mark, address] : expected) {
        EXPECT_EQ(dialogue.markAt(position), mark) << position;
        EXPECT_EQ(dialogue.addressAt(position), address) << position;
        ++position;
    }
}

TEST_F(OrvEnvelopeDialogueOf, aRecipientIsMarkedAndTheOthersStayAsTheyAre) {
    OpenDialogue& dialogue = to({"a@x", "$b@x", "c@x"});

    dialogue.setMark(1, Envelope::kGivenUp);
    dialogue.setMark(2, Envelope::kDelivered);
    EXPECT_THAT(envelope_->Recipients, ElementsAre("a@x", "#b@x", "!c@x"));

    dialogue.setMark(1, Envelope::kNoMark);
    EXPECT_THAT(envelope_->Recipients, ElementsAre("a@x", "b@x", "!c@x"));
}

TEST_F(OrvEnvelopeDialogueOf, aMarkThatRoomWasMadeForNeedsNoMemory) {
    OpenDialogue& dialogue = to({kLong, "$b@x"});
    envelope_->Recipients[0].shrink_to_fit();

    dialogue.makeRoomForMarks();
    const char* const kept = envelope_->Recipients[0].data();
    dialogue.setMark(0, Envelope::kDelivered);

    EXPECT_EQ(envelope_->Recipients[0], std::string("!") + kLong);
    EXPECT_EQ(envelope_->Recipients[0].data(), kept) << "it stands where it stood";
}

TEST_F(OrvEnvelopeDialogueOf, allOfOneMarkAreReplacedByAnother) {
    OpenDialogue& dialogue = to({"a@x", "$b@x", "c@x", "!d@x", "$e@x", "#f@x"});

    dialogue.replaceMarks(Envelope::kNoMark, Envelope::kDelivered);
    EXPECT_THAT(envelope_->Recipients, ElementsAre("!a@x", "$b@x", "!c@x", "!d@x", "$e@x", "#f@x"));

    dialogue.replaceMarks(Envelope::kRefusedOnce, Envelope::kNoMark);
    EXPECT_THAT(envelope_->Recipients, ElementsAre("!a@x", "b@x", "!c@x", "!d@x", "e@x", "#f@x"));
}

// Who holds the lock sees all of them or none.
TEST_F(OrvEnvelopeDialogueOf, whatIsChangedWaitsForTheMessagesLock) {
    OpenDialogue& dialogue = to({"a@x", "b@x"});
    const std::function<void()> changes[] = {[&] { dialogue.replaceMarks(Envelope::kNoMark, Envelope::kDelivered); },
                                             [&] { dialogue.setMark(0, Envelope::kGivenUp); },
                                             [&] { dialogue.setDone(); }};
    for (const auto& change : changes) {
        std::atomic<bool> begun = false;
        std::thread sender;
        std::set<std::pair<bool, std::vector<std::string>>> seen;
        {
            const Mt::Lock lock(message_->lock());
            sender = std::thread([&] {
                begun.store(true, std::memory_order_relaxed);  // orders nothing: only the lock may
                change();
            });
            for (int look = 0; look < 1000 || !begun.load(std::memory_order_relaxed); ++look) {
                seen.emplace(envelope_->Done, envelope_->Recipients);
                std::this_thread::yield();
            }
        }
        sender.join();
        EXPECT_EQ(seen.size(), 1u);
    }

    EXPECT_THAT(envelope_->Recipients, ElementsAre("#a@x", "!b@x"));
    EXPECT_TRUE(envelope_->Done);
}

TEST_F(OrvEnvelopeDialogueOf, aRecipientIsReportedWithoutItsMarkThenTheReplyThatRefusedIt) {
    OpenDialogue& dialogue = to({"a@x", "$b@x"});
    dialogue.refusals_[1] = "452 full";
    reporter_.makeRoomForEntries(4);

    dialogue.reportRecipient(orv_log::kRecipientRetry, 1);
    EXPECT_EQ(reporter_.lines, twoEntries("b@x", "452 full"));

    reporter_.lines.clear();
    dialogue.reportRecipient(orv_log::kRecipientRetry, 0);
    EXPECT_EQ(reporter_.lines, twoEntries("a@x", "")) << "it was not refused in this pass";
}

TEST_F(OrvEnvelopeDialogueOf, anEntryTakesAsMuchOfAnAddressAsItHolds) {
    const std::string endless(2000, 'a');
    OpenDialogue& dialogue = to({"#" + endless});
    reporter_.makeRoomForEntries(2);

    dialogue.reportRecipient(orv_log::kRecipientGivenUp, 0);

    ASSERT_EQ(reporter_.lines.size(), 2u);
    for (const std::string& line : reporter_.lines) {
        EXPECT_THAT(line, testing::HasSubstr("aaaa"));
        EXPECT_THAT(line, testing::Not(testing::HasSubstr("#")));
        EXPECT_LT(line.size(), sizeof(OrvEntryText) + 16);
    }
}

TEST_F(OrvEnvelopeDialogueOf, nobodyAcceptedIsReportedWithServerPortAndProfile) {
    OpenDialogue& dialogue = to({"a@x"}, "n%soc");
    reporter_.makeRoomForEntries(1);

    dialogue.reportNobodyAccepted();

    EXPECT_THAT(reporter_.lines, ElementsAre(logLine(orv_log::kNoRecipientAccepted, "192.0.2.1", 2525, "n%soc")));
}

TEST_F(OrvEnvelopeDialogueOf, theSenderIsTheIdentitysAtThatMoment) {
    const OpenDialogue& dialogue = to({"a@x"});
    EXPECT_EQ(dialogue.senderAddress(), "switch@example.com");

    OrvIdentity other = fullIdentity();
    other.From = "other@example.com";
    identity_.set(other);

    EXPECT_EQ(dialogue.senderAddress(), "other@example.com");
}

TEST_F(OrvEnvelopeDialogueOf, itsBeginningIsTracedWithItsProfile) {
    to({"a@x"}, "n%soc").traceBeginning();

    EXPECT_THAT(takeTraces(), testing::Contains("sendEnvelope: Processing envelope[n%soc]"));
}
