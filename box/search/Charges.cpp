#include "box/search/Charges.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

namespace box {

namespace {

constexpr char kCallHome[] = "/ostrel/conf/orv/callHome/";
constexpr std::uint64_t kState = 164;  // whatever stands behind the message
constexpr std::uint64_t kDigits = 10;
constexpr std::string_view kMarks = "!#$%";
// Of an event: those that are empty are charged, but not written.
constexpr std::string_view kAttributes[] = {"<Blade>", "<ASIC>", "<Port>", "<VID>", "<App>", "<Comp>"};
constexpr std::uint64_t kFrame = 3 + 4;  // an element's line ends, and the line that ends it

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A message's lines up to its end; none when it has no end.
std::vector<std::string> linesOf(const std::string& file) {
    std::vector<std::string> lines;
    std::istringstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
        if (line == "</OrvCHMesg>") {
            return lines;
        }
    }
    return {};
}

// Where the lines behind this one end that belong to it.
std::size_t endOf(const std::vector<std::string>& lines, std::size_t begin, std::string_view last) {
    const auto end = std::find(lines.begin() + static_cast<std::ptrdiff_t>(begin), lines.end(), last);
    return static_cast<std::size_t>(end - lines.begin());
}

std::uint64_t tagsLeftOut(const std::vector<std::string>& lines) {
    if (std::ranges::find(lines, "<Level>") == lines.end()) {
        return 0;
    }
    std::uint64_t bytes = 0;
    for (const std::string_view tag : kAttributes) {
        bytes += std::ranges::find(lines, tag) == lines.end() ? tag.size() + kFrame : 0;
    }
    return bytes;
}

// Of the attachments that a capture lists, as they are staged; none when one is not there.
std::optional<std::uint64_t> attachmentBytes(const std::vector<std::string>& lines, const std::string& directory) {
    const std::size_t list = endOf(lines, 0, "<CronAttchList>");
    const std::size_t sequence = endOf(lines, 0, "<CronSeq>") + 1;
    std::uint64_t bytes = 0;
    for (std::size_t at = list + 1; at < endOf(lines, std::min(list, lines.size()), "</CronAttchList>"); ++at) {
        std::error_code error;
        const std::string number = sequence < lines.size() ? lines[sequence] : "";
        const auto size =
            std::filesystem::file_size(std::filesystem::path(directory) / (lines[at] + "." + number), error);
        if (error) {
            return std::nullopt;
        }
        bytes += size;
    }
    return bytes;
}

std::string problemOf(const Books::Charged& entry, const Charge& due) {
    const std::uint64_t least = due.asNew;
    const bool fits = entry.restored ? entry.bytes >= least && entry.bytes <= least + due.repeatTime + due.recipients
                                     : entry.bytes == least;
    return fits ? ""
                : entry.name + " is charged with " + std::to_string(entry.bytes) + ", its file stands for " +
                      std::to_string(least);
}

}  // namespace

std::optional<Charge> chargeFor(const std::string& file, const std::string& attachments) {
    const std::vector<std::string> lines = linesOf(file);
    const std::optional<std::uint64_t> staged = attachmentBytes(lines, attachments);
    if (lines.empty() || !staged) {
        return std::nullopt;
    }
    Charge charge;
    charge.asNew = kState + *staged + tagsLeftOut(lines);
    for (std::size_t at = 0; at < lines.size(); ++at) {
        charge.asNew += lines[at].size() + 1;
        if (lines[at] == "<DupCnt>" || lines[at] == "<MaxSize>") {
            charge.asNew += kDigits - lines[at + 1].size();
        } else if (lines[at] == "<DupTime>") {
            charge.repeatTime = lines[at + 1].size();
        } else if (lines[at] == "<RcptList>") {
            for (std::size_t each = at + 1; each < endOf(lines, at, "</RcptList>"); ++each) {
                ++charge.recipients;
                charge.asNew -= lines[each].find_first_of(kMarks) == 0 ? 1u : 0u;
            }
        }
    }
    charge.asNew -= charge.repeatTime;
    return charge;
}

std::string chargesProblem(const std::string& root, Books& books) {
    for (const Books::Charged& entry : books.takeWritten()) {
        const std::optional<Charge> due =
            chargeFor(bytesOf(root + kCallHome + "queues/" + entry.name), root + kCallHome + "attachments");
        std::string problem = due ? problemOf(entry, *due) : "";
        if (!problem.empty()) {
            return problem;
        }
    }
    return "";
}

}  // namespace box
