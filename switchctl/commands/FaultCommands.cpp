// fault: make the switch misbehave, to rehearse what the daemon does then.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <span>

namespace {

template <typename Value>
struct Named {
    Value value;
    const char* name;
};

constexpr Named<FaultKind> KINDS[] = {
    {FaultKind::REFUSE, "refuse"}, {FaultKind::BAD_STATUS, "bad-status"}, {FaultKind::DELAY, "delay"},
    {FaultKind::HOLD, "hold"},     {FaultKind::DROP_ENTRY, "drop-entry"}, {FaultKind::CORRUPT, "corrupt"},
    {FaultKind::SILENT, "silent"},
};

constexpr Named<FaultOperation> OPERATIONS[] = {
    {FaultOperation::ANY, "any"},           {FaultOperation::CONNECT, "connect"}, {FaultOperation::GET, "get"},
    {FaultOperation::BULK_GET, "bulk-get"}, {FaultOperation::SET, "set"},         {FaultOperation::LOOKUP, "lookup"},
};

template <typename Value>
Value called(const std::string& name, std::span<const Named<Value>> table, const char* what, const char* rule) {
    const auto found = std::ranges::find(table, name, &Named<Value>::name);
    if (found == table.end()) {
        throw UsageError(std::string("unknown ") + what + " \"" + name + "\"; it is " + rule);
    }
    return found->value;
}

template <typename Value>
std::string nameOf(Value value, std::span<const Named<Value>> table) {
    const auto found = std::ranges::find(table, value, &Named<Value>::value);
    return found == table.end() ? "?" : found->name;
}

struct FaultArguments {
    std::string kind;
    std::string operation = "any";
    FaultRule rule;
};

void addFault(Session& session, const FaultArguments& arguments) {
    FaultRule rule = arguments.rule;
    rule.kind = called<FaultKind>(arguments.kind, KINDS, "fault",
                                  "refuse, bad-status, delay, hold, drop-entry, corrupt or silent");
    rule.operation = called<FaultOperation>(arguments.operation, OPERATIONS, "operation",
                                            "any, connect, get, bulk-get, set or lookup");
    if (rule.operation == FaultOperation::LOOKUP && rule.kind != FaultKind::SILENT) {
        throw UsageError("a lookup can only be silent; write fault add silent --operation lookup");
    }
    const auto number =
        OperatorClient::decode<OneTag>(session.client.change(OperatorCode::ADD_FAULT, FaultWire::encode(rule))).number;
    session.print(Json().set("fault", number), std::to_string(number) + "\n");
}

void listFaults(Session& session) {
    const auto faults = OperatorClient::decode<FaultList>(session.client.call(OperatorCode::LIST_FAULTS)).faults;
    std::vector<std::vector<std::string>> rows = {{"NUMBER", "KIND", "OPERATION", "KEY", "COUNT"}};
    Json json = Json::array();
    for (const auto& [number, rule] : faults) {
        const std::string count = rule.count == 0 ? "all" : std::to_string(rule.count);
        const std::string kind = nameOf<FaultKind>(rule.kind, KINDS);
        const std::string operation = nameOf<FaultOperation>(rule.operation, OPERATIONS);
        rows.push_back({std::to_string(number), kind, operation, rule.pattern, count});
        json.add(Json()
                     .set("fault", number)
                     .set("kind", kind)
                     .set("operation", operation)
                     .set("key", rule.pattern)
                     .set("count", rule.count)
                     .set("milliseconds", rule.milliseconds)
                     .set("status", rule.status));
    }
    session.print(Json().set("faults", json), rows.size() == 1 ? "no faults\n" : Text::table(rows));
}

// What CLEAR_FAULTS and RELEASE_HELD do, and how many they did it to.
void doToAll(Session& session, std::uint16_t code, const char* what) {
    const auto count = OperatorClient::decode<OneTag>(session.client.change(code)).number;
    session.print(Json().set(what, count), std::string(what) + " " + std::to_string(count) + "\n");
}

void removeFault(Session& session, const std::uint32_t& number) {
    session.client.change(OperatorCode::REMOVE_FAULT, encodeFields(OneTag{number}));
    session.print(Json().set("removed", number), "");
}

void clear(Session& session) {
    doToAll(session, OperatorCode::CLEAR_FAULTS, "removed");
}

void release(Session& session) {
    doToAll(session, OperatorCode::RELEASE_HELD, "released");
}

void addFaultAdd(CommandTree& tree, const CommandTree::Group& fault) {
    auto [command, arguments] = tree.command(fault, "add", command_text::kFaultAdd, addFault);
    FaultRule& rule = arguments.rule;
    command.take({"KIND", "", "refuse, bad-status, delay, hold, drop-entry,\ncorrupt or silent", true}, arguments.kind)
        .take({"--operation", "OP", "any, connect, get, bulk-get, set, lookup (any)"}, arguments.operation)
        .take({"--key", "PATTERN", "Attribute or component; * for anything (*)"}, rule.pattern)
        .number({"--count", "N", "Answers to spoil, never switchctl's own (1); 0: all"}, rule.count, 0, UINT32_MAX)
        .number({"--ms", "N", "delay: milliseconds (0)"}, rule.milliseconds, 0, UINT32_MAX)
        .number({"--status", "N", "bad-status: the status (-1)"}, rule.status, INT32_MIN, INT32_MAX);
}

}  // namespace

void addFaultCommands(CommandTree& tree) {
    const CommandTree::Group fault = tree.group("fault", "Misbehave: add, list, remove, clear, release");
    addFaultAdd(tree, fault);
    tree.command(fault, "list", command_text::kFaultList, listFaults);
    auto [command, number] = tree.command(fault, "remove", command_text::kFaultRemove, removeFault);
    command.number({"NUMBER", "", "Its number, as fault add and list print it", true}, number, 0, UINT32_MAX);
    tree.command(fault, "clear", command_text::kFaultClear, clear);
    tree.command(fault, "release", command_text::kFaultRelease, release);
}
