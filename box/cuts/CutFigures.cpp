#include "box/cuts/CutFigures.h"

#include "box/World.h"

#include <cinttypes>
#include <cstdio>
#include <set>

namespace box {

namespace {

std::string row(std::uint64_t lost, std::uint64_t doubled, std::uint64_t mixed, const std::string& cause) {
    char line[160];
    std::snprintf(line, sizeof line, "| %8" PRIu64 " | %8" PRIu64 " | %8" PRIu64 " | %s |\n", lost, doubled, mixed,
                  cause.c_str());
    return line;
}

}  // namespace

void CutFigures::add(const CutFigures& other) {
    records += other.records;
    operations += other.operations;
    states += other.states;
    distinct += other.distinct;
    mails += other.mails;
    addCounts(lost, other.lost);
    addCounts(doubled, other.doubled);
    addCounts(mixed, other.mixed);
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
}

Counts CutFigures::counts() const {
    Counts all{{"records", records},   {"operations", operations}, {"states", states},
               {"distinct", distinct}, {"mails owed", mails},      {"failed", failures.size()}};
    const auto take = [&all](const char* what, const Counts& causes) {
        for (const auto& [cause, count] : causes) {
            all[std::string(what) + ": " + cause] = count;
        }
    };
    take("lost", lost);
    take("doubled", doubled);
    take("mixed", mixed);
    return all;
}

std::string CutFigures::text() const {
    char head[256];
    std::snprintf(head, sizeof head,
                  "%" PRIu64 " states of %" PRIu64 " records of %" PRIu64 " operations, %" PRIu64
                  " of them distinct and started from; %" PRIu64 " mails owed; %zu failed\n",
                  states, records, operations, distinct, mails, failures.size());
    std::string text = head;
    text += "| lost     | doubled  | mixed    | by |\n|---------:|---------:|---------:|----|\n";
    std::set<std::string> causes;
    for (const Counts* each : {&lost, &doubled, &mixed}) {
        for (const auto& [cause, count] : *each) {
            causes.insert(cause);
        }
    }
    for (const std::string& cause : causes) {
        text += row(countOf(lost, cause), countOf(doubled, cause), countOf(mixed, cause), cause);
    }
    text += row(sumOf(lost), sumOf(doubled), sumOf(mixed), "together");
    for (const std::string& failure : failures) {
        text += failure + "\n";
    }
    return text;
}

}  // namespace box
