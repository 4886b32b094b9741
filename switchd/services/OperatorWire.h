// What an operator's program and the switch say to each other (format 0x7F01, address ServiceAddress::OPERATOR).
//
// A request is OperatorRequest: a tag of the caller's choice and the body that belongs to its code. Every request is
// answered by one OperatorReply with the same tag and the code OperatorCode::replyTo(code); its body is that of the
// code when the status is OK, and empty otherwise. Some answers come late (WAIT, MANAGEMENT, PROBE): the caller
// sets the time limit. FOLLOW_LOG and WATCH_RESULTS open a stream of OperatorPush messages with the request's tag,
// until the caller leaves the bus or sends STOP.
//
// Spans are views: of the bytes that were read, or of the caller's bytes before they are written.
#pragma once

#include "Sw_Log_Type.h"
#include "platform/wire/Fields.h"
#include "platform/wire/LogRecordFields.h"
#include "switchd/services/FaultRule.h"
#include "switchd/store/Attribute.h"
#include "switchd/store/LogEntry.h"
#include "switchd/store/LogSelection.h"
#include "switchd/store/LogSeries.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

using WireBytes = std::vector<std::uint8_t>;
using WireSpan = std::span<const std::uint8_t>;

namespace OperatorCode {

inline constexpr std::uint16_t FORMAT = 0x7F01;

// Code                                               request body          reply body
inline constexpr std::uint16_t GET = 1;             // KeyList              AttributeAnswers, in the order asked for
inline constexpr std::uint16_t LIST = 2;            // ListRequest          AttributePage
inline constexpr std::uint16_t CHANGE = 3;          // ChangeRequest        KeyList: keys to unset that were not there
inline constexpr std::uint16_t PUBLISH_LOG = 10;    // LogRecord            none
inline constexpr std::uint16_t PUBLISH_STATE = 11;  // OneText              none
inline constexpr std::uint16_t PUBLISH_ADDRESSES = 12;  // KeyList: addresses   none
inline constexpr std::uint16_t PUBLISH_HOSTNAME = 13;   // OneText              none
inline constexpr std::uint16_t PUBLISH_EVENT = 14;      // RawEvent             none
inline constexpr std::uint16_t READ_LOG = 20;           // LogRequest           LogPage
inline constexpr std::uint16_t FOLLOW_LOG = 21;         // LogRequest           none; pushes LOG_LINES: LogPage
inline constexpr std::uint16_t SEARCH_LOG = 23;         // LogSearch            LogPage
inline constexpr std::uint16_t LOG_SERIES = 24;         // SeriesRequest        SeriesAnswer
inline constexpr std::uint16_t STOP = 22;               // OneTag: the stream's or late answer's tag   none
inline constexpr std::uint16_t COMPONENTS = 30;         // none                 ComponentList
inline constexpr std::uint16_t WAIT = 31;               // WaitRequest          none, as soon as the state is reached
inline constexpr std::uint16_t MANAGEMENT = 40;         // ManagementCall       ManagementAnswer
inline constexpr std::uint16_t WATCH_RESULTS = 41;      // none                 TestResults: the last per profile;
                                                        //                      pushes TEST_RESULT: TestResults, one
inline constexpr std::uint16_t PROBE = 42;              // ProbeRequest         none, once the component has replied
inline constexpr std::uint16_t MESSAGE = 43;            // RawMessage           none
inline constexpr std::uint16_t ADD_FAULT = 50;          // FaultRule            OneTag: the rule's number
inline constexpr std::uint16_t REMOVE_FAULT = 51;       // OneTag: its number   none
inline constexpr std::uint16_t CLEAR_FAULTS = 52;  // none                 OneTag: rules removed; held answers go out
inline constexpr std::uint16_t LIST_FAULTS = 53;   // none                 FaultList
inline constexpr std::uint16_t RELEASE_HELD = 54;  // none                 OneTag: answers released

inline constexpr std::uint16_t LOG_LINES = 0x201;
inline constexpr std::uint16_t TEST_RESULT = 0x202;

constexpr std::uint16_t replyTo(std::uint16_t code) {
    return static_cast<std::uint16_t>(code | 0x100);
}

}  // namespace OperatorCode

// Attributes and log entries are the stores', which know no messages.
inline constexpr auto ATTRIBUTE_FIELDS = [](auto& io, auto& attribute) {
    io.text32(attribute.key);
    io(attribute.type);
    io.text32(attribute.value);
};
inline constexpr auto LOG_ENTRY_FIELDS = [](auto& io, auto& entry) {
    io(entry.id, entry.seconds, entry.microseconds, entry.level, entry.number, entry.flags);
    io.text32(entry.component);
    io.text32(entry.text);
};

enum class OperatorStatus : std::uint32_t {
    OK = 0,
    REFUSED = 1,       // the request makes no sense: unknown code, body that cannot be read, value out of range
    FAILED = 2,        // the switch could not do it
    NO_COMPONENT = 3,  // the component is not there, or has left before it answered
};

struct OperatorRequest {
    std::uint32_t tag = 0;
    WireSpan body;

    static void fields(auto& io, auto& message) {
        io(message.tag);
        io.rest(message.body);
    }
};

// A push has the same layout as a request: tag and body.
using OperatorPush = OperatorRequest;

struct OperatorReply {
    std::uint32_t tag = 0;
    OperatorStatus status = OperatorStatus::OK;
    std::string reason;  // for a person to read; empty when OK
    WireSpan body;

    static void fields(auto& io, auto& message) {
        io(message.tag, message.status);
        io.text32(message.reason);
        io.rest(message.body);
    }
};

struct OneText {
    std::string text;

    static void fields(auto& io, auto& message) { io.text32(message.text); }
};

struct OneTag {
    std::uint32_t number = 0;

    static void fields(auto& io, auto& message) { io(message.number); }
};

struct KeyList {
    std::vector<std::string> keys;

    static void fields(auto& io, auto& message) { io.list(message.keys, TEXT32_FIELD); }
};

// What GET found; where found is false, only the attribute's key is set.
struct AttributeAnswers {
    struct Answer {
        bool found = false;
        Attribute attribute;

        friend bool operator==(const Answer&, const Answer&) = default;
    };
    std::vector<Answer> answers;

    static void fields(auto& io, auto& message) {
        io.list(message.answers, [](auto& each, auto& answer) {
            each.flag32(answer.found);
            ATTRIBUTE_FIELDS(each, answer.attribute);
        });
    }
};

// The attributes whose keys begin with prefix and come after the key `after` ("": from the first).
struct ListRequest {
    std::string prefix;
    std::string after;

    static void fields(auto& io, auto& message) {
        io.text32(message.prefix);
        io.text32(message.after);
    }
};

// In the order of the keys' bytes. With more, ask again after the last key.
struct AttributePage {
    std::vector<Attribute> attributes;
    bool more = false;

    static void fields(auto& io, auto& message) {
        io.flag32(message.more);
        io.list(message.attributes, ATTRIBUTE_FIELDS);
    }
};

// Done as a whole or not at all.
struct ChangeRequest {
    std::vector<Attribute> set;
    std::vector<std::string> unset;

    static void fields(auto& io, auto& message) {
        io.list(message.set, ATTRIBUTE_FIELDS);
        io.list(message.unset, TEXT32_FIELD);
    }
};

// A switch log record to publish. Without a time of its own it gets the time at which the switch publishes it.
struct LogRecord {
    Sw_Log_Type record;
    bool timed = false;

    static void fields(auto& io, auto& message) {
        io.flag32(message.timed);
        LOG_RECORD_FIELDS(io, message.record);
    }
};

struct RawEvent {
    std::uint32_t category = 0;
    std::uint32_t number = 0;
    WireSpan data;

    static void fields(auto& io, auto& message) {
        io(message.category, message.number);
        io.rest(message.data);
    }
};

// Log entries with a greater id than since and no greater level than maxLevel, at most limit (0: as many as one answer
// holds). A stream takes no notice of limit and maxLevel.
struct LogRequest {
    std::uint64_t since = 0;
    std::uint32_t limit = 0;
    std::int32_t maxLevel = INT32_MAX;

    static void fields(auto& io, auto& message) { io(message.since, message.limit, message.maxLevel); }
};

inline constexpr auto LOG_SELECTION_FIELDS = [](auto& io, auto& selection) {
    io(selection.after, selection.before, selection.maxLevel);
    io.text32(selection.component);
    io.list(selection.kinds, [](auto& each, auto& kind) {
        each(kind.number);
        each.text32(kind.start);
    });
};

// All log entries that are selected, oldest first, as far as one answer holds them. With more, ask again behind the
// last.
struct SeriesRequest {
    LogSelection selection;

    static void fields(auto& io, auto& message) { LOG_SELECTION_FIELDS(io, message.selection); }
};

struct SeriesAnswer {
    LogSeries series;

    static void fields(auto& io, auto& message) {
        auto& series = message.series;
        io.flag32(series.more);
        io(series.last);
        io.list(series.texts, LOG_ENTRY_FIELDS);
        io.list(series.entries, [](auto& each, auto& entry) { each(entry.what, entry.time); });
    }
    // No entry says what is not there.
    bool holds() const {
        const auto isThere = [&](const LogSeries::Entry& entry) { return entry.what < series.texts.size(); };
        return std::ranges::all_of(series.entries, isThere);
    }
};

// Log entries that are selected, from the end that is asked for, at most limit (0: as many as one answer holds).
struct LogSearch {
    LogSelection selection;
    std::uint32_t limit = 0;

    static void fields(auto& io, auto& message) {
        auto& selection = message.selection;
        io(selection.after, selection.before, message.limit, selection.maxLevel);
        io.flag32(selection.newestFirst);
        io.text32(selection.component);
        io.list(selection.kinds, [](auto& each, auto& kind) {
            each(kind.number);
            each.text32(kind.start);
        });
    }
};

// Oldest first unless the newest are asked for. With more, ask again from the last id.
struct LogPage {
    std::vector<LogEntry> entries;
    bool more = false;

    static void fields(auto& io, auto& message) {
        io.flag32(message.more);
        io.list(message.entries, LOG_ENTRY_FIELDS);
    }
};

// How far a component has come. Each state includes the ones before it.
enum class ComponentState : std::uint32_t {
    ABSENT = 0,
    REGISTERED = 1,  // the name service knows it
    READY = 2,       // it asked for its configuration
    CONFIGURED = 3,  // it has read its configuration
    STARTED = 4,     // it was told to start
};

struct ComponentList {
    struct Component {
        std::string name;  // as it registered
        ComponentState state = ComponentState::ABSENT;
        std::uint32_t node = 0;
        std::uint32_t process = 0;

        friend bool operator==(const Component&, const Component&) = default;
    };
    std::vector<Component> components;

    static void fields(auto& io, auto& message) {
        io.list(message.components, [](auto& each, auto& component) {
            each.text32(component.name);
            each(component.state, component.node, component.process);
        });
    }
};

// Component names in requests match whatever their case ("orvApp" finds "OrvApp").
struct WaitRequest {
    std::string component;
    ComponentState state = ComponentState::STARTED;

    static void fields(auto& io, auto& message) {
        io.text32(message.component);
        io(message.state);
    }
};

// A management request (format 0x4015). The first word of a payload of four bytes or more becomes a handle of the
// switch's choice. With answered, the reply waits for the component's response (code + 100 and this handle);
// without, it comes as soon as the request is on its way.
struct ManagementCall {
    std::string component;
    std::uint16_t code = 0;
    bool answered = true;
    WireSpan payload;

    static void fields(auto& io, auto& message) {
        io.text32(message.component);
        io(message.code);
        io.flag16(message.answered);
        io.rest(message.payload);
    }
};

// The component's response as it came (platform/wire/ManagementWire.h); nothing when none was waited for.
struct ManagementAnswer {
    std::uint16_t code = 0;
    WireSpan payload;

    static void fields(auto& io, auto& message) {
        io(message.code);
        io.rest(message.payload);
    }
};

// What became of test messages: 0 sent, else not.
struct TestResults {
    struct Result {
        std::string profile;
        std::uint32_t status = 0;

        friend bool operator==(const Result&, const Result&) = default;
    };
    std::vector<Result> results;

    static void fields(auto& io, auto& message) {
        io.list(message.results, [](auto& each, auto& result) {
            each.text32(result.profile);
            each(result.status);
        });
    }
};

struct ProbeRequest {
    std::string component;
    std::uint16_t code = 0;

    static void fields(auto& io, auto& message) {
        io.text32(message.component);
        io(message.code);
    }
};

struct RawMessage {
    std::string component;
    std::uint16_t format = 0;
    std::uint16_t code = 0;
    WireSpan payload;

    static void fields(auto& io, auto& message) {
        io.text32(message.component);
        io(message.format, message.code);
        io.rest(message.payload);
    }
};

namespace FaultWire {

inline constexpr auto FIELDS = [](auto& io, auto& rule) {
    io(rule.kind, rule.operation);
    io.text32(rule.pattern);
    io(rule.count, rule.milliseconds, rule.status);
};

inline WireBytes encode(const FaultRule& rule) {
    return encodeFields(rule, FIELDS);
}
inline std::optional<FaultRule> decode(WireSpan body) {
    return decodeFields<FaultRule>(body, FIELDS);
}

}  // namespace FaultWire

// count: answers that the rule will still spoil.
struct FaultList {
    struct Entry {
        std::uint32_t number = 0;
        FaultRule rule;

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    std::vector<Entry> faults;

    static void fields(auto& io, auto& message) {
        io.list(message.faults, [](auto& each, auto& fault) {
            each(fault.number);
            FaultWire::FIELDS(each, fault.rule);
        });
    }
};
