#include "testing/mesg/MesgTest.h"

#include <set>

using testing::ElementsAreArray;

using OrvCHMesgProbe = MesgTest;

TEST_F(OrvCHMesgProbe, dumpsALogEventWithItsEnvelopes) {
    const auto mesg = sampleLogEvent();
    mesg->addEnvelope(std::make_unique<OrvCHEnvelope>());
    mesg->Envelopes[1]->MaxSize = 4000000000u;
    const std::int32_t envelopes = mesg->Envelopes[0]->bytesToSave() + 124;

    mesg->probe();

    EXPECT_THAT(traces(), ElementsAreArray({
                              std::string("PROBE ----------------------------------"),
                              std::string("  OrvCHMesg"),
                              "    BytesToSave = " + std::to_string(envelopes),
                              std::string("    FileName = /ostrel/conf/orv/callHome/queues/send/m7"),
                              std::string("    DuplicateCount = 3"),
                              std::string("    DuplicateTime = Tue Nov 14 22:14:20 UTC 2023"),
                              std::string("    Time = Tue Nov 14 22:13:20.123 UTC 2023"),
                              std::string("    ID = 0123.4567"),
                              std::string("    Type = LogEvent"),
                              std::string("    Level= Alarm"),
                              std::string("    Blade = Blade: 2"),
                              std::string("    ASIC = 2.5"),
                              std::string("    Port = 5"),
                              std::string("    VID = 77"),
                              std::string("    App = Port"),
                              std::string("    Components = fan:1.2.3"),
                              std::string("    Text = 100% of port 5 lost"),
                              std::string("    Envelope[0]:"),
                              std::string("    OrvCHEnvelope"),
                              std::string("      MaxSize = 650"),
                              std::string("      Type = FullText"),
                              std::string("      ProfileName = Night shift"),
                              std::string("      Subject = Switch 12"),
                              std::string("      Recipient[0] = !ann@example.com"),
                              std::string("      Recipient[1] = bob@example.com"),
                              std::string("    Envelope[1]:"),
                              std::string("    OrvCHEnvelope"),
                              std::string("      MaxSize = 4000000000"),
                              std::string("      Type = "),
                              std::string("      ProfileName = "),
                              std::string("      Subject = "),
                          }));
}

TEST_F(OrvCHMesgProbe, dumpsACaptureWithItsAttachments) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    mesg.ID = "8B00.FFFF";
    mesg.Text = "Scheduled capture";
    CronCaptureData& capture = *mesg.cronCapture();
    capture.Sequence = "12";
    capture.DayOfWeek = "Mon";
    capture.TimeOfDay = "05:30";
    capture.Interval = "2";
    capture.Shell = "/bin/clish";
    capture.Command = "show support callhome";
    capture.Attachments = {"smlCapture.txt.gz", "logfile.gz"};

    mesg.probe();

    EXPECT_THAT(traces(), ElementsAreArray({
                              "PROBE ----------------------------------",
                              "  OrvCHMesg",
                              "    BytesToSave = 0",
                              "    FileName = ",
                              "    DuplicateCount = 0",
                              "    DuplicateTime = ",
                              "    Time = ",
                              "    ID = 8B00.FFFF",
                              "    Type = CronCapture",
                              "    Sequence= 12",
                              "    DayOfWeek = Mon",
                              "    TimeOfDay = 05:30",
                              "    Interval = 2",
                              "    Shell = /bin/clish",
                              "    Command = show support callhome",
                              "    Attachment[0] = smlCapture.txt.gz (smlCapture.txt.gz.12)",
                              "    Attachment[1] = logfile.gz (logfile.gz.12)",
                              "    Text = Scheduled capture",
                          }));
    capture.Attachments.clear();
}

TEST_F(OrvCHMesgProbe, namesProbeAsTheMethodOfEveryLineOfEveryPart) {
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.cronCapture()->Attachments = {"a.gz"};
    sampleLogEvent()->probe();
    capture.probe();

    std::set<std::string> found;
    for (const std::string& line : traceLines()) {
        found.insert(line.substr(0, line.find(':')));
    }
    EXPECT_EQ(found, (std::set<std::string>{"CronCaptureData probe", "LogEventData probe", "OrvCHEnvelope probe",
                                            "OrvCHMesg probe"}));
    capture.cronCapture()->Attachments.clear();
}

TEST_F(OrvCHMesgProbe, dumpsAMessageWithoutTypeDataUnderTheNameProbe) {
    OrvCHMesg().probe();
    EXPECT_THAT(traceLines(), ElementsAreArray({
                                  "OrvCHMesg probe: PROBE ----------------------------------",
                                  "OrvCHMesg probe:   OrvCHMesg",
                                  "OrvCHMesg probe:     BytesToSave = 0",
                                  "OrvCHMesg probe:     FileName = ",
                                  "OrvCHMesg probe:     DuplicateCount = 0",
                                  "OrvCHMesg probe:     DuplicateTime = ",
                                  "OrvCHMesg probe:     Time = ",
                                  "OrvCHMesg probe:     ID = ",
                                  "OrvCHMesg probe:     Type = ",
                                  "OrvCHMesg probe:     Text = ",
                              }));
}
