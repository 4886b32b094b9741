// event: what the switch publishes.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/commands/LogEventOptions.h"
#include "switchctl/input/EventArguments.h"
#include "switchctl/text/Errors.h"

namespace {

void publish(Session& session, std::uint16_t code, const WireBytes& body) {
    session.client.change(code, body);
    session.print(Json().set("published", true), "");
}

void log(Session& session, const LogEventArguments& arguments) {
    publish(session, OperatorCode::PUBLISH_LOG, encodeFields(logRecordFrom(arguments)));
    if (const std::string why = whyNobodyIsMailed(arguments.record); !why.empty()) {
        session.note(why);
    }
}

void state(Session& session, const std::string& text) {
    publish(session, OperatorCode::PUBLISH_STATE, encodeFields(OneText{text}));
}

void address(Session& session, const std::vector<std::string>& addresses) {
    checkAddresses(addresses);
    publish(session, OperatorCode::PUBLISH_ADDRESSES, encodeFields(KeyList{addresses}));
}

void hostname(Session& session, const std::string& name) {
    publish(session, OperatorCode::PUBLISH_HOSTNAME, encodeFields(OneText{name}));
}

struct RawEventArguments {
    std::uint32_t category = 0;
    std::uint32_t number = 0;
    std::string hex;
};

void raw(Session& session, const RawEventArguments& arguments) {
    const auto data = bytesFrom(arguments.hex);
    publish(session, OperatorCode::PUBLISH_EVENT, encodeFields(RawEvent{arguments.category, arguments.number, data}));
}

void addLog(CommandTree& tree, const CommandTree::Group& event) {
    auto [command, arguments] = tree.command(event, "log", command_text::kEventLog, log);
    takeLogEvent(command, arguments);
}

}  // namespace

void addEventCommands(CommandTree& tree) {
    const CommandTree::Group event = tree.group("event", "Publish an event: log, state, address, hostname, raw");
    addLog(tree, event);
    tree.command(event, "state", command_text::kEventState, state, {"TEXT", "", "The new state", true});
    tree.command(event, "address", command_text::kEventAddress, address, {"IP", "", "IPv4 and IPv6 addresses", true});
    tree.command(event, "hostname", command_text::kEventHostname, hostname, {"NAME", "", "The new host name", true});
    auto [command, arguments] = tree.command(event, "raw", command_text::kEventRaw, raw);
    command.number({"--category", "N", "Event category", true}, arguments.category, 0, UINT32_MAX)
        .number({"--number", "N", "Event number", true}, arguments.number, 0, UINT32_MAX)
        .take({"--hex", "HEX", "Data, two hexadecimal digits a byte"}, arguments.hex);
}
