#include "fuzz/Target.h"

namespace orv_fuzz {

std::span<const Target> targets() {
    static const Target all[] = {
#ifdef ORV_FUZZ_STANDBY
        kStandbyRecord,
#endif
        kMessageFile,   kOrderFile, kSmtpReply, kAttributes, kBusPayload, kBase64, kTimes, kLogRecord};
    return all;
}

}  // namespace orv_fuzz
