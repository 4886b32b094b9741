#include "mesg/OrvMesgElement.h"

#include "dbg/OrvDbg.h"
#include "mesg/OrvMesgTags.h"

static constexpr char kTraceModule[] = "OrvCHMesg";

using namespace orv_mesg_tags;

void orvAppendElement(std::string& file, std::string_view tag, std::string_view value) {
    orvAppendLine(file, tag);
    orvAppendLine(file, value);
    orvAppendLine(file, kEndOfRecord);
}

std::int64_t orvLengths(std::initializer_list<std::string_view> texts) {
    std::size_t sum = 0;
    for (std::string_view text : texts) {
        sum += text.size();
    }
    return static_cast<std::int64_t>(sum);
}

bool orvAtEnd(std::istream& stream) {
    return stream.peek() == std::istream::traits_type::eof();
}

void orvReadLine(std::istream& stream, std::string& line) {
    line.clear();
    std::getline(stream, line);
    if (line.find('\0') != std::string::npos) {
        line.clear();
        stream.setstate(std::ios_base::eofbit);
    }
}

bool orvIsOpeningTag(std::string_view line) {
    return line.size() >= 2 && line.front() == '<' && line[1] != '/' && line.back() == '>';
}

static int failAtEnd(std::string_view tag) {
    orvTrace(kTraceModule, "restoreThruDashTag", "[FAIL] unexpected EOF (%s)\n", std::string(tag).c_str());
    return -1;
}

int restoreThruDashTag(std::string_view tag, std::istream& stream, std::string& value) {
    value.clear();
    if (orvAtEnd(stream)) {
        return failAtEnd(tag);
    }
    orvReadLine(stream, value);
    if (orvAtEnd(stream)) {
        return failAtEnd(tag);
    }
    std::string line;
    orvReadLine(stream, line);
    if (line != kEndOfRecord) {
        ORV_TRACE("[FAIL] missing EOR (%s)\n", std::string(tag).c_str());
        return -1;
    }
    return 0;
}

int orvReadList(std::string_view endTag, std::istream& stream, std::vector<std::string>& items) {
    std::string line;
    while (!orvAtEnd(stream)) {
        orvReadLine(stream, line);
        if (line == endTag) {
            return 0;
        }
        items.push_back(line);
    }
    return -1;
}

// "</Name>" for "<Name>".
static bool closes(std::string_view line, std::string_view openingTag) {
    return line.size() == openingTag.size() + 1 && line.substr(0, 2) == "</" && line.substr(2) == openingTag.substr(1);
}

int orvSkipElement(std::string_view openingTag, std::istream& stream) {
    std::vector<std::string> open{std::string(openingTag)};
    std::string line;
    while (!open.empty()) {
        if (orvAtEnd(stream)) {
            return -1;
        }
        orvReadLine(stream, line);
        if (orvIsOpeningTag(line)) {
            open.push_back(line);
        } else if (line == kEndOfRecord || closes(line, open.back())) {
            open.pop_back();
        }
    }
    return 0;
}
