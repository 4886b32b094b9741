#include "smtp/OrvServerRecord.h"

#include "profile/OrvAddressText.h"

namespace {

constexpr std::size_t kPrefixLength = 2;

}  // namespace

void OrvServerRecord::assign(std::string_view value) {
    if (value.size() < kPrefixLength || value[1] != '-') {
        return;
    }
    const std::string_view text = value.substr(kPrefixLength);
    switch (value[0]) {
        case '0':
            Kind = SmtpAddrMode::kIPv4;
            Address = kNoAddress;
            SecondForm = kNoSecondForm;
            break;
        case '1':
        case '2':
            Kind = value[0] == '1' ? SmtpAddrMode::kIPv4 : SmtpAddrMode::kIPv6;
            Address = orvAddressText(value);
            SecondForm = text;
            break;
        case '3':
            Kind = SmtpAddrMode::kHostName;
            Address = text;
            SecondForm.clear();
            break;
        default:
            break;
    }
}
