#include "smtp/OrvServerRecord.h"

#include "profile/OrvAddressText.h"

void OrvServerRecord::assign(std::string_view value) {
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
