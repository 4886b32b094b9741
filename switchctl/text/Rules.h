// What CallHome's settings may hold: what the daemon understands, and what its mails and files can carry.
//
// Each check throws UsageError with what is wrong, the rule, and a right form. Lengths count bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Rules {

inline constexpr std::size_t MAX_EMAILS = 10;
inline constexpr std::uint32_t MIN_SIZE = 650;
inline constexpr std::uint32_t MAX_SIZE = 2000000;

void profileName(const std::string& name);
// These two take their words in any case and give them as the daemon writes them.
std::string level(const std::string& name);
std::string format(const std::string& name);
// The formats that have a layout of their own.
const std::vector<std::string>& formats();
void subject(const std::string& text);
void emails(const std::vector<std::string>& addresses);
// An address that mails come from or answers go to; option is named in the error.
void sender(const std::string& option, const std::string& address);
// Any other text of the switch's identity.
void identity(const std::string& option, const std::string& text);

}  // namespace Rules
