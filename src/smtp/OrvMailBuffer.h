// The text of one mail as it is being composed, held to the envelope's maximum size line by line.
//
// A labelled line is added only when it fits; the first that does not fills the buffer with blanks up to the limit,
// after which no labelled line is added any more. Text appended directly is not measured. One thread at a time.
#pragma once

#include "smtp/OrvMailLabel.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// What ends every line of a mail.
inline constexpr char kOrvLineEnd[] = "\r\n";

class OrvMailBuffer {
public:
    enum class Empty { kSkip, kForce };

    // Begins a mail of at most limit bytes.
    explicit OrvMailBuffer(std::uint32_t limit) : limit_(limit) {}

    // Makes room for a text of so many bytes, as far as there is memory: up to there it grows without being copied,
    // which for a moment would hold it twice.
    void reserve(std::uint64_t bytes);

    // Adds label, value and CR LF. An empty value gives no line unless it is forced.
    void addLabelData(OrvMailLabel label, std::string_view value, Empty empty = Empty::kSkip);

    // Adds text beyond all limits.
    void append(std::string_view text) { text_.append(text); }

    const std::string& text() const { return text_; }
    // The text, moved out; the buffer is done with.
    std::string take() { return std::move(text_); }
    std::uint32_t limit() const { return limit_; }

private:
    bool fits(std::string_view label, std::string_view value) const;

    std::string text_;
    std::uint32_t limit_;
};
