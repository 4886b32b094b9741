// Reads a server's replies whole, however many lines and pieces they come in (RFC 5321, section 4.2).
//
// Asks for no memory: the reply to a text must not get lost for want of it. Send thread only.
#pragma once

#include "smtp/OrvSMTPSession.h"

#include <array>
#include <cstddef>
#include <string_view>

class OrvSMTPConnection;

class OrvReplyReader {
public:
    // The reply's text goes into the session, and so does what follows it.
    explicit OrvReplyReader(OrvSMTPSession& session) : session_(session) {}

    // False when the connection is lost, with errno.
    bool read(OrvSMTPConnection& connection);
    // The whole reply has come; else what came is none.
    bool whole() const { return state_ == State::kWhole; }
    std::string_view code() const { return {code_.data(), code_.size()}; }

private:
    enum class State { kMore, kWhole, kMalformed };

    void take(std::string_view bytes);
    State takeByte(char byte);
    State takeCode(char byte);
    void keep(char byte);

    OrvSMTPSession& session_;
    State state_ = State::kMore;
    std::array<char, 3> code_{};
    std::size_t line_ = 0;    // lines before this one
    std::size_t column_ = 0;  // bytes of this line
    bool last_ = false;       // this line is the reply's last one
    std::size_t taken_ = 0;   // bytes in all
    std::size_t kept_ = 0;    // in the session
};

// Shows bytes that came without having been asked for.
void orvKeepSurplus(OrvSMTPSession& session, std::string_view bytes);
