// Reads a message file into a message, line by line.
//
// Tolerant: what stands before the start tag and elements that nobody knows are skipped. Most failures are traced as
// one line beginning "[FAIL]" (a second one names the envelope it happened in); a bad identifier and a failed
// allocation have texts of their own. One reader a file.
#pragma once

#include "mesg/OrvCHMesg.h"

#include <istream>
#include <string>
#include <string_view>

class OrvMesgFileReader {
public:
    OrvMesgFileReader(std::istream& stream, OrvCHMesg& mesg) : stream_(stream), mesg_(mesg) {}

    // Reads past the start tag. 0 or -1.
    [[nodiscard]] int findStart();
    // Reads all elements, up to the end tag, into a message whose estimate is 0. 0, or -1 unless it is complete.
    [[nodiscard]] int readElements();

private:
    // What a message cannot do without.
    enum Seen : unsigned {
        kSeenDupCnt = 1,
        kSeenDupTime = 2,
        kSeenTime = 4,
        kSeenId = 8,
        kSeenText = 16,
        kSeenEnvelopes = 32,
        kSeenTypePart = 64,
        kSeenAll = 127
    };
    struct Handler {
        std::string_view line;
        int (OrvMesgFileReader::*take)();
    };
    static const Handler kHandlers[];

    int take(const std::string& line);
    int finish();
    // Nobody else has the message yet.
    int takeDupCnt() ORV_NO_THREAD_SAFETY_ANALYSIS;
    int takeDupTime() ORV_NO_THREAD_SAFETY_ANALYSIS;
    int takeTime();
    int takeId();
    int takeText();
    int takeValue(std::string_view tag, std::string& value, Seen mark);
    int takeEnvelopes();
    int takeEnvelope(const std::string& line);
    int takeEnvelopesEnd();
    bool takeTypeElement(const std::string& line);
    int typeStatus() const;
    int takeUnknown(const std::string& line);

    std::istream& stream_;
    OrvCHMesg& mesg_;
    unsigned seen_ = 0;
};
