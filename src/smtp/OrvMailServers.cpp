#include "smtp/OrvMailServers.h"

int OrvMailServers::changeover() {
    const OrvServerRecord& other = secondaryActive_ ? primary : secondary;
    if (!other.valid()) {
        return -1;
    }
    secondaryActive_ = !secondaryActive_;
    return 0;
}

// Kept: the enable flags decide, not the validity, so an enabled default address is published as an address.
OrvMailServers::Published OrvMailServers::published() const {
    const OrvServerRecord& record = active();
    const std::string port = std::to_string(record.Port);
    if (!primary.Enabled && !secondary.Enabled) {
        return {"0-", OrvServerRecord::kNoSecondForm, port};
    }
    switch (record.Kind) {
        case SmtpAddrMode::kIPv4:
            return {"1-" + record.SecondForm, record.SecondForm, port};
        case SmtpAddrMode::kIPv6:
            return {"2-" + record.SecondForm, OrvServerRecord::kNoSecondForm, port};
        default:
            return {"3-" + record.Address, OrvServerRecord::kNoSecondForm, port};
    }
}
