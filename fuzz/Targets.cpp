#include "fuzz/Target.h"

namespace orv_fuzz {

std::span<const Target> targets() {
    static const Target all[] = {kMessageFile,   kOrderFile, kSmtpReply, kAttributes, kBusPayload,
                                 kStandbyRecord, kBase64,    kTimes,     kLogRecord};
    return all;
}

}  // namespace orv_fuzz
