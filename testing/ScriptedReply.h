// What a scripted mail server does when it is its turn: bytes, when they go out, and how the turn ends.
//
// Plain data, built in one expression: ScriptedReply::line("250 ok").splitAt({3}).thenHangUp().
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

class ScriptedReply {
public:
    enum class End { kKeepOpen, kHangUp, kReset, kStopReading };

    // A piece of the reply, sent with one call.
    struct Segment {
        std::string bytes;
        std::chrono::milliseconds delay{0};  // since the piece before went out
        bool afterNextInput = false;         // waits for the client's next line as well
    };

    // The text and CR LF.
    static ScriptedReply line(const std::string& text) { return bytes(text + "\r\n"); }
    // Any bytes at all, as they stand.
    static ScriptedReply bytes(const std::string& text);
    // Never answers, and goes on listening.
    static ScriptedReply silence() { return {}; }
    // Closes the connection instead of answering.
    static ScriptedReply hangUp() { return ScriptedReply().thenHangUp(); }

    ScriptedReply& delayed(std::chrono::milliseconds delay);
    // Cuts the reply at these offsets; each piece follows the one before after the gap.
    ScriptedReply& splitAt(const std::vector<std::size_t>& offsets,
                           std::chrono::milliseconds gap = std::chrono::milliseconds(1));
    ScriptedReply& oneByteAtATime();
    // The bytes from this offset on go out only when the client has sent its next line.
    ScriptedReply& holdFrom(std::size_t offset);

    // Another reply in pieces of its own, whose end is this one's.
    ScriptedReply& followedBy(const ScriptedReply& other);

    // What follows the last byte: closing, breaking the connection off (RST), or reading nothing any more.
    ScriptedReply& thenHangUp() { return endingWith(End::kHangUp); }
    ScriptedReply& thenReset() { return endingWith(End::kReset); }
    ScriptedReply& thenStopReading() { return endingWith(End::kStopReading); }

    const std::vector<Segment>& segments() const { return segments_; }
    End end() const { return end_; }
    // 0 when the reply holds no byte.
    char firstByte() const;

private:
    ScriptedReply& endingWith(End end);
    std::string text() const;

    std::vector<Segment> segments_;
    End end_ = End::kKeepOpen;
};
