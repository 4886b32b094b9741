// Texts as RFC 5321 and RFC 5322 want them: line ends, line lengths, dots, header values, and characters that are none
// of ASCII's. Pure functions. Any thread.
#pragma once

#include <string>
#include <string_view>

// On one line: what would end it, or is no character at all, becomes a question mark.
std::string orvOneLine(std::string_view value);

// Ends every line with CR LF, the last one too; breaks lines of more than 998 octets (RFC 5321, section 4.5.3.1.6) at a
// blank or, without one, between two characters; leaves zero bytes out.
void orvMakeLines(std::string& text);

// Doubles the dot that begins a line (RFC 5321, section 4.5.2).
void orvDoubleDots(std::string& text);

enum class OrvCharset { kAscii, kUtf8, kLatin1 };
// What the bytes are. What is not UTF-8 counts as the charset in which every byte is a character.
OrvCharset orvCharsetOf(std::string_view text);
const char* orvCharsetName(OrvCharset charset);

// Lines as quoted-printable (RFC 2045, section 6.7).
std::string orvQuotedPrintable(std::string_view lines);

// Adds a header line with its CR LF, folded where it is long. Words of other characters than ASCII's are encoded (RFC
// 2047).
void orvAddHeader(std::string& text, std::string_view name, std::string_view value);
