#include "box/cuts/CutFigures.h"

#include "box/World.h"
#include "platform/wire/Wire.h"

#include <cinttypes>
#include <cstdio>
#include <numeric>
#include <set>

namespace box {

namespace {

using Causes = std::map<std::string, std::uint64_t>;

std::uint64_t countOf(const Causes& causes, const std::string& cause) {
    const auto found = causes.find(cause);
    return found == causes.end() ? 0 : found->second;
}

std::uint64_t sumOf(const Causes& causes) {
    return std::accumulate(causes.begin(), causes.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& each) { return sum + each.second; });
}

void addCauses(Causes& causes, const Causes& others) {
    for (const auto& [cause, count] : others) {
        causes[cause] += count;
    }
}

std::string row(std::uint64_t lost, std::uint64_t doubled, std::uint64_t mixed, const std::string& cause) {
    char line[160];
    std::snprintf(line, sizeof line, "| %8" PRIu64 " | %8" PRIu64 " | %8" PRIu64 " | %s |\n", lost, doubled, mixed,
                  cause.c_str());
    return line;
}

void encodeCauses(WireWriter& out, const Causes& causes) {
    out.u32(static_cast<std::uint32_t>(causes.size()));
    for (const auto& [cause, count] : causes) {
        out.text32(cause);
        encode64(out, count);
    }
}

Causes decodeCauses(WireReader& in) {
    Causes causes;
    for (std::uint32_t count = in.u32(); count > 0 && in.ok(); --count) {
        const std::string cause = in.text32();
        causes[cause] = decode64(in);
    }
    return causes;
}

}  // namespace

void CutFigures::add(const CutFigures& other) {
    records += other.records;
    operations += other.operations;
    states += other.states;
    distinct += other.distinct;
    mails += other.mails;
    addCauses(lost, other.lost);
    addCauses(doubled, other.doubled);
    addCauses(mixed, other.mixed);
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
}

void CutFigures::encode(WireWriter& out) const {
    for (const std::uint64_t value : {records, operations, states, distinct, mails}) {
        encode64(out, value);
    }
    encodeCauses(out, lost);
    encodeCauses(out, doubled);
    encodeCauses(out, mixed);
    out.u32(static_cast<std::uint32_t>(failures.size()));
    for (const std::string& failure : failures) {
        out.text32(failure);
    }
}

void CutFigures::decode(WireReader& in) {
    for (std::uint64_t* value : {&records, &operations, &states, &distinct, &mails}) {
        *value = decode64(in);
    }
    lost = decodeCauses(in);
    doubled = decodeCauses(in);
    mixed = decodeCauses(in);
    failures.resize(in.u32());
    for (std::string& failure : failures) {
        failure = in.text32();
    }
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
    for (const Causes* each : {&lost, &doubled, &mixed}) {
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
