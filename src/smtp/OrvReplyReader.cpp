#include "smtp/OrvReplyReader.h"

#include "smtp/OrvSMTPConnection.h"

#include <algorithm>

namespace {

// No reply is that long; whoever says more never ends.
constexpr std::size_t kLongestReply = 65536;

// Bytes that would spoil a trace or end a text are shown as question marks.
char shown(char byte) {
    const bool control = static_cast<unsigned char>(byte) < ' ' || byte == '\x7F';
    return control && byte != '\r' && byte != '\n' && byte != '\t' ? '?' : byte;
}

}  // namespace

// The limit is on the whole reply: one that comes byte by byte has no more time than one that comes at once.
bool OrvReplyReader::read(OrvSMTPConnection& connection) {
    session_.surplus[0] = '\0';
    session_.reply[0] = '\0';
    const OrvSMTPConnection::TimePoint due = connection.stepEnds();
    while (state_ == State::kMore) {
        if (connection.receiveBy(due) < 0) {
            return false;
        }
        take(connection.receivedBytes());
    }
    return true;
}

void OrvReplyReader::take(std::string_view bytes) {
    while (state_ == State::kMore && !bytes.empty()) {
        state_ = ++taken_ > kLongestReply ? State::kMalformed : takeByte(bytes.front());
        bytes.remove_prefix(1);
    }
    session_.reply[kept_] = '\0';
    if (state_ == State::kWhole && !bytes.empty()) {
        orvKeepSurplus(session_, bytes);
    }
}

OrvReplyReader::State OrvReplyReader::takeByte(char byte) {
    keep(shown(byte));
    if (column_ < code_.size()) {
        return takeCode(byte);
    }
    if (byte == '\n') {
        column_ = 0;
        ++line_;
        return last_ ? State::kWhole : State::kMore;
    }
    // A code may stand without a text, and without a blank then.
    if (column_ == code_.size() && byte != '-' && byte != ' ' && byte != '\r') {
        return State::kMalformed;
    }
    if (column_ == code_.size()) {
        last_ = byte != '-';
    }
    ++column_;
    return State::kMore;
}

// All lines of a reply have the first one's code.
OrvReplyReader::State OrvReplyReader::takeCode(char byte) {
    const char least = column_ == 0 ? '2' : '0';
    const char most = column_ == 0 ? '5' : '9';
    if (byte < least || byte > most || (line_ > 0 && byte != code_[column_])) {
        return State::kMalformed;
    }
    code_[column_++] = byte;
    last_ = true;
    return State::kMore;
}

void OrvReplyReader::keep(char byte) {
    if (kept_ < session_.reply.size() - 1) {
        session_.reply[kept_++] = byte;
    }
}

void orvKeepSurplus(OrvSMTPSession& session, std::string_view bytes) {
    const std::size_t size = std::min(bytes.size(), session.surplus.size() - 1);
    std::transform(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size), session.surplus.begin(), shown);
    session.surplus[size] = '\0';
}
