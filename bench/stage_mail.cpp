// Puts one waiting capture with one attachment on a switch's flash, for a daemon that starts next to mail it.
//
// Usage: stage_mail BYTES      (of the attachment, before its encoding; the switch is HSB_ROOT's)
#include "base/OrvPaths.h"
#include "mesg/OrvCHMesg.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr char kAttachment[] = "/tmp/supportSave.gz";

bool writeNoise(std::size_t bytes) {
    std::ofstream out(orvHostPath(kAttachment), std::ios::binary);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < bytes; ++i) {
        state = state * 1664525 + 1013904223;
        out.put(static_cast<char>(state >> 24));
    }
    return static_cast<bool>(out.flush());
}

bool writeOrder() {
    std::ofstream out(orvHostPath(std::string(kOrvSendQueueDirectory) + "/order"), std::ios::binary);
    return static_cast<bool>(out.write("\0\0\0\1\0\0\0\0", 8).flush());
}

int stage(std::size_t bytes) {
    OrvCHMesg message(OrvCHMesg::kCronCapture);
    message.Time = "Tue Nov 14 22:13:20 UTC 2023";
    message.Text = "Scheduled capture";
    CronCaptureData& capture = *message.cronCapture();
    capture.Sequence = "1";
    capture.DayOfWeek = "Monday";
    capture.TimeOfDay = "02:30";
    capture.Interval = "1";
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->MaxSize = 100000000;
    envelope->Type = "FullText";
    envelope->ProfileName = "Operators";
    envelope->Subject = "Switch in the lab";
    envelope->Recipients = {"operator@example.com"};
    message.addEnvelope(std::move(envelope));
    message.FileName = std::string(kOrvSendQueueDirectory) + "/m0";
    if (!writeNoise(bytes) || capture.insertAttachment(kAttachment) < 0 || message.save() < 0 || !writeOrder()) {
        std::perror("stage_mail");
        return 1;
    }
    _exit(0);  // the message's end would take the staged file with it
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: stage_mail BYTES\n", stderr);
        return 2;
    }
    std::error_code ignored;
    for (const char* directory : {kOrvSendQueueDirectory, kOrvAttachmentsDirectory, "/tmp"}) {
        std::filesystem::create_directories(orvHostPath(directory), ignored);
    }
    return stage(std::strtoul(argv[1], nullptr, 10));
}
