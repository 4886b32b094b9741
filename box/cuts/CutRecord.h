// One random history, and what the daemon makes of the states that a power cut in it may leave.
//
// Each state is judged by what a kill at the same moment would leave: what the next life mails then is owed.
#pragma once

#include "box/World.h"
#include "box/cuts/CutFigures.h"
#include "box/cuts/CutState.h"
#include "box/cuts/Mails.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace box {

class CutRecord {
public:
    static constexpr Time kLength = 120 * kSecond;

    explicit CutRecord(std::uint64_t seed, Time length = kLength);

    // The first states are those of all prefixes; then come drawn ones, without end.
    std::uint64_t prefixes() const { return operations_.size() + 1; }
    CutState state(std::uint64_t number) const;
    FileTree tree(std::uint64_t number) const { return treeOf(start_, operations_, state(number)); }
    std::string text(std::uint64_t number) const { return textOf(operations_, state(number)); }

    // Starts from the first so many states.
    CutFigures run(std::uint64_t states);
    // Starts from one and prints what happens. Its figures.
    CutFigures show(std::uint64_t number);

private:
    // What the daemon made of a state.
    struct Outcome {
        std::map<std::string, std::uint64_t> mails;  // by their keys
        std::string problem;
        std::string misread;  // a mail that reads otherwise than it has to
    };

    void runPrefixes(CutFigures& figures);
    void runState(std::uint64_t number, CutFigures& figures);
    Outcome start(const FileTree& tree, bool isPrefix);
    void compare(const CutState& state, const Outcome& owed, const Outcome& got, CutFigures& figures) const;
    void judge(std::uint64_t number, const Outcome& outcome, CutFigures& figures) const;
    void fail(std::uint64_t number, const std::string& problem, CutFigures& figures) const;

    const std::uint64_t seed_;
    FileTree start_;
    FileOperations operations_;
    World world_;  // in which the daemon starts again
    std::string problem_;
    KnownMails known_;
    std::vector<std::uint64_t> prefixDigests_;
    std::map<std::uint64_t, Outcome> outcomes_;  // by the digests of the files
    bool shown_ = false;
};

}  // namespace box
