// The text of one mail as it is being composed, held to the envelope's maximum size line by line.
//
// A labelled line is added only when it fits; the first that does not fills the buffer with blanks up to the limit,
// after which no labelled line is added any more. Text appended directly is not measured. One thread at a time.
//
// Each labelled line is traced. Composing touches nothing but memory, so that it is one step to whoever follows the
// trace: its lines are traced together when the step is over, at the latest when the buffer goes.
#pragma once

#include "smtp/OrvMailLabel.h"

#include <array>
#include <cstddef>
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
    ~OrvMailBuffer() { traceLines(); }
    OrvMailBuffer(const OrvMailBuffer&) = delete;
    OrvMailBuffer& operator=(const OrvMailBuffer&) = delete;

    // Makes room for a text of so many bytes, as far as there is memory: up to there it grows without being copied,
    // which for a moment would hold it twice.
    void reserve(std::uint64_t bytes);

    // Adds label, value and CR LF. An empty value gives no line unless it is forced.
    void addLabelData(OrvMailLabel label, std::string_view value, Empty empty = Empty::kSkip);

    // Traces the lines that were added since the last time. To be called before anything else is done that can be seen
    // from outside, or that takes long.
    void traceLines();

    // Adds text beyond all limits.
    void append(std::string_view text) { text_.append(text); }

    const std::string& text() const { return text_; }
    // The text, moved out; the buffer is done with.
    std::string take() {
        traceLines();
        return std::move(text_);
    }
    std::uint32_t limit() const { return limit_; }

private:
    // Where a line stands in the text, without its end.
    struct Range {
        std::uint32_t start;
        std::uint32_t length;
    };

    bool fits(std::string_view label, std::string_view value) const;

    std::string text_;
    std::uint32_t limit_;
    std::array<Range, 32> untraced_{};
    std::size_t untracedCount_ = 0;
};
