// A message file, as a start finds it on flash. A message that is whole is saved and read back: it stays the same.
#include "Sw_Log_Type.h"
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvMesgFileReader.h"

#include <gtest/gtest.h>

#include <sstream>

namespace orv_fuzz {

namespace {

constexpr char kFile[] = "/ostrel/conf/orv/callHome/queues/send/m7";

std::string saved(OrvCHMesg& mesg) {
    mesg.FileName = kFile;
    EXPECT_EQ(mesg.save(), 0);
    return Stage::get().root().read(kFile);
}

// Whether the bytes are a whole message.
bool readInto(OrvCHMesg& mesg, const std::string& bytes) {
    std::istringstream stream(bytes);
    stream.exceptions(std::ios_base::badbit);
    OrvMesgFileReader reader(stream, mesg);
    return reader.findStart() == 0 && reader.readElements() == 0;
}

std::string texts(const OrvCHMesg& mesg) {
    std::string all = mesg.duplicateKey() + mesg.Time + '|' + mesg.DuplicateTime + '|' + mesg.Text;
    for (const auto& envelope : mesg.Envelopes) {
        all += '|' + envelope->Type + '|' + envelope->ProfileName + '|' + envelope->Subject;
        for (const std::string& recipient : envelope->Recipients) {
            all += '|' + recipient;
        }
    }
    return all;
}

// The sender's marks: whatever stands in front of a recipient, its address stays the same.
void markAll(OrvCHEnvelope& envelope) {
    for (std::size_t i = 0; i < envelope.Recipients.size(); ++i) {
        envelope.RecipientCursor = i;
        const std::string address = envelope.recipientAddress();
        envelope.setRecipientMark(OrvCHEnvelope::kDelivered);
        EXPECT_EQ(envelope.recipientMark(), OrvCHEnvelope::kDelivered);
        EXPECT_EQ(envelope.recipientAddress(), address);
    }
    envelope.RecipientCursor = envelope.Recipients.size();
    envelope.setRecipientMark(OrvCHEnvelope::kDelivered);
    EXPECT_EQ(envelope.recipientAddress(), "");
    EXPECT_EQ(envelope.resetRecipients(), 0u);
}

void run(Bytes data) {
    Stage& stage = Stage::get();
    OrvCHMesg mesg;
    if (readInto(mesg, textOf(data))) {
        EXPECT_GT(mesg.bytesToSave(), 0);
        const std::string first = saved(mesg);
        OrvCHMesg again;
        again.FileName = kFile;
        ASSERT_EQ(again.restore(), 0);
        EXPECT_EQ(texts(again), texts(mesg));
        // Sizes above 2147483647 come back as that, once.
        const std::string second = saved(again);
        OrvCHMesg last;
        ASSERT_TRUE(readInto(last, second));
        EXPECT_EQ(saved(last), second);
        last.probe();
        for (const auto& envelope : last.Envelopes) {
            markAll(*envelope);
        }
    }
    stage.takeSent();
}

std::unique_ptr<OrvCHEnvelope> envelope(const std::string& profile, std::vector<std::string> recipients) {
    auto made = std::make_unique<OrvCHEnvelope>();
    made->MaxSize = 650;
    made->Type = "FullText";
    made->ProfileName = profile;
    made->Subject = "Switch 12";
    made->Recipients = std::move(recipients);
    return made;
}

std::vector<Seed> seeds() {
    static_cast<void>(Stage::get());
    OrvCHMesg event(OrvCHMesg::kLogEvent);
    Sw_Log_Type record;
    record.kind = 6;
    record.number = 0x01234567;
    record.slot = 2;
    record.chip = 1;
    record.port = 5;
    record.seconds = 1700000000;
    record.locationIndex = 3;
    record.locationName1 = "fan";
    record.text = "100% of port 5 lost\n";
    event.extractData(record);
    event.addEnvelope(envelope("noc", {"!ann@example.com", "bob@example.com"}));
    event.addEnvelope(envelope("night shift", {"$carl@example.com", "#dora@example.com", "%eve@example.com"}));
    OrvCHMesg repeated(OrvCHMesg::kLogEvent);
    EXPECT_EQ(repeated.buildSwitchStateData("DEGRADED"), 0);
    repeated.DuplicateCount = 7;
    repeated.DuplicateTime = repeated.Time;
    repeated.addEnvelope(envelope("noc", {"ann@example.com"}));
    OrvCHMesg alone(OrvCHMesg::kLogEvent);
    EXPECT_EQ(alone.buildSwitchPowerUpData(), 0);
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.ID = "8B00.0004";
    capture.cronCapture()->Sequence = "17";
    capture.cronCapture()->DayOfWeek = "Mon";
    capture.cronCapture()->TimeOfDay = "02:30";
    capture.cronCapture()->Interval = "1";
    return {
        {"event", saved(event)},
        {"repeated", saved(repeated)},
        {"power_up", saved(alone)},
        {"capture", saved(capture)},
        {"envelopes_end_alone", "<OrvCHMesg>\n</EnvelopeList>\n"},
        {"recipients_end_alone", "<OrvCHMesg>\n<EnvelopeList>\n<OrvCHEnvelope>\n</RcptList>\n"},
        {"cut_before_its_envelopes", "<OrvCHMesg>\n<EnvelopeList>\n"},
        {"cut_before_a_value", "<OrvCHMesg>\n<Time>\n"},
        {"state_behind_it", saved(alone) + "<OrvCHMesgQ>\nduplicatesPending = 3\npersist = false\n</OrvCHMesgQ>\n"}};
}

}  // namespace

const Target kMessageFile{"message_file", run, seeds};

}  // namespace orv_fuzz
