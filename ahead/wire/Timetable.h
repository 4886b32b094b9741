// What a look ahead is asked and what it answers: a timetable for a switch of its own, and what became of it.
//
// Times are microseconds since the timetable began. Plain data; both travel through a pipe, by a codec of their own.
#pragma once

#include "platform/wire/Fields.h"
#include "switchd/services/OperatorWire.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ahead {

inline constexpr std::uint64_t kSecond = 1000000;

// What there is on the flash before the daemon starts.
struct FlashFile {
    std::string path;  // the switch's
    std::string bytes;

    static void fields(auto& io, auto& file) {
        io.text32(file.path);
        io.text32(file.bytes);
    }
};

enum class Act : std::uint32_t {
    kPublish,   // a LogRecord: bytes
    kProbe,     // the daemon traces its state
    kGoesDown,  // the mail server of this number: its machine cannot be reached
    kRefuses,   // nobody listens there
    kComesUp,
};

struct Step {
    std::uint64_t at = 0;
    Act act = Act::kPublish;
    std::uint32_t number = 0;  // 0: the primary, 1: the secondary server
    std::string bytes;

    static void fields(auto& io, auto& step) {
        io(step.at, step.act, step.number);
        io.text32(step.bytes);
    }
};

struct Timetable {
    std::int64_t begin = 0;  // seconds since 1970, when the daemon starts
    std::uint64_t end = 0;
    std::uint32_t seed = 1;
    std::uint32_t slowestReply = 0;  // of a mail server that is up, in milliseconds
    bool mailTexts = true;           // else mails come back without
    std::vector<Attribute> attributes;
    std::vector<FlashFile> files;
    std::vector<Step> steps;             // in the order of their times
    std::vector<std::string> listenFor;  // traces that have one of these in them come back

    static void fields(auto& io, auto& table) {
        io(table.begin, table.end, table.seed, table.slowestReply);
        io.flag32(table.mailTexts);
        io.list(table.attributes, ATTRIBUTE_FIELDS);
        io.list(table.files, FIELDS_OF<FlashFile>);
        io.list(table.steps, FIELDS_OF<Step>);
        io.list(table.listenFor, TEXT32_FIELD);
    }
};

struct TakenMail {
    std::uint64_t at = 0;
    std::uint32_t server = 0;  // as in Step
    std::string from;
    std::vector<std::string> to;
    std::string text;  // up to the line of a dot, as it stood on the wire

    static void fields(auto& io, auto& mail) {
        io(mail.at, mail.server);
        io.text32(mail.from);
        io.list(mail.to, TEXT32_FIELD);
        io.text32(mail.text);
    }
};

// The daemon's entries only.
struct Logged {
    std::uint64_t at = 0;
    LogEntry entry;

    static void fields(auto& io, auto& logged) {
        io(logged.at);
        LOG_ENTRY_FIELDS(io, logged.entry);
    }
};

struct Trace {
    std::uint64_t at = 0;
    std::string text;

    static void fields(auto& io, auto& trace) {
        io(trace.at);
        io.text32(trace.text);
    }
};

// The daemon begins to connect.
struct Try {
    std::uint64_t at = 0;
    std::string where;  // ADDRESS:PORT

    static void fields(auto& io, auto& each) {
        io(each.at);
        io.text32(each.where);
    }
};

struct Outcome {
    std::string problem;  // why it did not come to its end; "" when it did
    std::vector<TakenMail> mails;
    std::vector<Logged> log;
    std::vector<Trace> traces;
    std::vector<Try> tries;

    static void fields(auto& io, auto& outcome) {
        io.text32(outcome.problem);
        io.list(outcome.mails, FIELDS_OF<TakenMail>);
        io.list(outcome.log, FIELDS_OF<Logged>);
        io.list(outcome.traces, FIELDS_OF<Trace>);
        io.list(outcome.tries, FIELDS_OF<Try>);
    }
};

}  // namespace ahead
