#include "smtp/OrvMailServers.h"

#include "profile/OrvAddressText.h"

void OrvMailServer::assign(std::string_view value) {
    const std::optional<OrvKindAndAddress> parts = orvSplitAddress(value);
    if (!parts) {
        return;
    }
    switch (parts->kind) {
        case '0':
            Kind = SmtpAddrMode::kIPv4;
            Address = kNoAddress;
            SecondForm = kNoSecondForm;
            break;
        case '1':
        case '2':
            Kind = parts->kind == '1' ? SmtpAddrMode::kIPv4 : SmtpAddrMode::kIPv6;
            Address = orvAddressText(value);
            SecondForm = parts->address;
            break;
        case '3':
            Kind = SmtpAddrMode::kHostName;
            Address = parts->address;
            SecondForm.clear();
            break;
        default:
            break;
    }
}

int OrvMailServers::changeover() {
    const OrvMailServer& other = secondaryActive_ ? primary : secondary;
    if (!other.valid()) {
        return -1;
    }
    secondaryActive_ = !secondaryActive_;
    return 0;
}

// Kept: the enable flags decide, not the validity, so an enabled default address is published as an address.
OrvMailServers::Published OrvMailServers::published() const {
    const OrvMailServer& server = active();
    const std::string port = std::to_string(server.Port);
    if (!primary.Enabled && !secondary.Enabled) {
        return {"0-", OrvMailServer::kNoSecondForm, port};
    }
    switch (server.Kind) {
        case SmtpAddrMode::kIPv4:
            return {"1-" + server.SecondForm, server.SecondForm, port};
        case SmtpAddrMode::kIPv6:
            return {"2-" + server.SecondForm, OrvMailServer::kNoSecondForm, port};
        default:
            return {"3-" + server.Address, OrvMailServer::kNoSecondForm, port};
    }
}
