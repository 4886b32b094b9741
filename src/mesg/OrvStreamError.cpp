#include "mesg/OrvStreamError.h"

#include "base/OrvText.h"

std::string orvStreamErrorText(const char* step, std::ios_base::iostate state, int error, const char* what) {
    const std::ios_base::iostate known = std::ios_base::failbit | std::ios_base::badbit;
    std::string text = std::string("fstream ") + step + " exception, flag bits=(";
    text += (state & std::ios_base::failbit) != 0 ? "failbit " : "";
    text += (state & std::ios_base::badbit) != 0 ? "badbit " : "";
    text += (state & ~known) != 0 ? "unknownbit " : "";
    // Kept: the last parenthesis is never closed.
    return text + "), errno=(" + orvErrorText(error) + "), what=(" + what + "\n";
}
