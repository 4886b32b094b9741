#include "testing/ScriptedReply.h"

#include <numeric>

ScriptedReply ScriptedReply::bytes(const std::string& text) {
    ScriptedReply reply;
    reply.segments_.push_back({text, std::chrono::milliseconds(0), false});
    return reply;
}

ScriptedReply& ScriptedReply::delayed(std::chrono::milliseconds delay) {
    if (segments_.empty()) {
        segments_.emplace_back();
    }
    segments_.front().delay = delay;
    return *this;
}

ScriptedReply& ScriptedReply::splitAt(const std::vector<std::size_t>& offsets, std::chrono::milliseconds gap) {
    const std::string whole = text();
    segments_.clear();
    std::size_t begin = 0;
    for (const std::size_t offset : offsets) {
        segments_.push_back(
            {whole.substr(begin, offset - begin), begin == 0 ? std::chrono::milliseconds(0) : gap, false});
        begin = offset;
    }
    segments_.push_back({whole.substr(begin), gap, false});
    return *this;
}

ScriptedReply& ScriptedReply::oneByteAtATime() {
    std::vector<std::size_t> offsets(text().size() - 1);
    std::iota(offsets.begin(), offsets.end(), 1);
    return splitAt(offsets);
}

ScriptedReply& ScriptedReply::holdFrom(std::size_t offset) {
    splitAt({offset}, std::chrono::milliseconds(0));
    segments_.back().afterNextInput = true;
    return *this;
}

ScriptedReply& ScriptedReply::followedBy(const ScriptedReply& other) {
    segments_.insert(segments_.end(), other.segments_.begin(), other.segments_.end());
    end_ = other.end_;
    return *this;
}

char ScriptedReply::firstByte() const {
    const std::string whole = text();
    return whole.empty() ? '\0' : whole.front();
}

ScriptedReply& ScriptedReply::endingWith(End end) {
    end_ = end;
    return *this;
}

std::string ScriptedReply::text() const {
    std::string whole;
    for (const Segment& segment : segments_) {
        whole += segment.bytes;
    }
    return whole;
}
