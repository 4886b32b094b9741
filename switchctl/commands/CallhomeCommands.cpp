// callhome: the daemon's management requests, its probe, its settings.
#include "MessageCodes.h"
#include "platform/wire/ManagementWire.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/client/Management.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/input/CallhomeSetup.h"
#include "switchctl/input/EventArguments.h"
#include "switchctl/log/DaemonLog.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/ProbeTrace.h"
#include "switchctl/trial/CallhomeTest.h"

#include <map>
#include <optional>
#include <utility>

namespace {

constexpr const char* SPACE_KEY = "Global.Callhome.FileSystemSpaceAllowed";
constexpr const char* FILES_KEY = "Global.Callhome.FilesAllowed";
// What the daemon calls the time of a profile's last message when there was none.
constexpr const char* NEVER = "NotApplicable";

// Sends a request without further answer and prints that it is done.
void plainRequest(Session& session, std::uint16_t code, const char* done) {
    const auto response = Management::request(session, code);
    session.print(Json().set("status", response.status), std::string("done: ") + done + "\n");
}

void profileChange(Session& session) {
    plainRequest(session, ManagementCode::PROFILE_CHANGE, "settings and profiles are being read anew");
}

void clearQueue(Session& session) {
    plainRequest(session, ManagementCode::CLEAR_QUEUE, "queued messages are discarded");
}

// One status stands for two reasons; the event log tells which.
void changeover(Session& session) {
    const DaemonLog log(session);
    const auto response = Management::call(session, ManagementCode::CHANGEOVER, encodeFields(ManagementRequest{}));
    if (response.status == ManagementStatus::CHANGEOVER_FAILED) {
        const bool updating = log.has(orv_log::kChangeoverUpdating);
        Management::refuse(updating ? Management::UPDATING : "there is no other mail server to change to",
                           response.status);
    }
    Management::check(response);
    session.print(Json().set("status", response.status), "done: mails go through the other mail server\n");
}

// What an attribute allows, as in " of 100"; nothing when it is not set.
std::string allowed(const std::map<std::string, std::string>& quotas, const char* key) {
    const auto found = quotas.find(key);
    return found == quotas.end() ? "" : " of " + Text::oneLine(found->second);
}

void queue(Session& session) {
    const QueueInfo info = Management::queue(session);
    const auto quotas = Attributes::get(session, {SPACE_KEY, FILES_KEY});
    Json json;
    json.set("bytesInUse", info.bytesInUse).set("waiting", info.waiting).set("open", info.open);
    for (const auto& [key, name] : {std::pair(SPACE_KEY, "bytesAllowed"), std::pair(FILES_KEY, "messagesAllowed")}) {
        const auto value = quotas.contains(key) ? Text::number(quotas.at(key), 0, UINT32_MAX) : std::nullopt;
        if (value) {
            json.set(name, *value);
        } else {
            json.setNull(name);
        }
    }
    session.print(json,
                  Text::table({{"in use", std::to_string(info.bytesInUse) + allowed(quotas, SPACE_KEY) + " bytes"},
                               {"waiting", std::to_string(info.waiting) + allowed(quotas, FILES_KEY) + " messages"},
                               {"open", std::to_string(info.open) + " messages"}}));
}

void processed(Session& session) {
    const ProcessedInfo info = Management::processed(session);
    std::vector<std::vector<std::string>> rows = {{"PROFILE", "MESSAGES", "LAST"}};
    Json list = Json::array();
    for (const auto& profile : info.profiles) {
        const std::string last = profile.last == NEVER ? "never" : Text::oneLine(profile.last);
        rows.push_back({Text::oneLine(profile.name), std::to_string(profile.processed), last});
        list.add(Json().set("name", profile.name).set("processed", profile.processed).set("last", profile.last));
    }
    session.print(Json().set("profiles", list), rows.size() == 1 ? "no profiles\n" : Text::table(rows));
}

void probe(Session& session) {
    const std::string text = ProbeTrace::ask(session);
    std::string lines;
    for (const std::string& line : Text::split(text, '\n')) {
        lines += Text::oneLine(line) + "\n";
    }
    lines.pop_back();  // The text ends with a line feed already.
    session.print(Json().set("trace", text), lines);
}

struct RawArguments {
    std::uint16_t format = 0;
    std::uint16_t code = 0;
    std::string hex;
};

// The daemon answers a request that it knows, when its length is right.
bool isAnswered(std::uint16_t code, std::size_t length) {
    const std::size_t right = code == ManagementCode::TEST_PROFILE ? 44 : 8;
    return code >= ManagementCode::PROFILE_CHANGE && code <= ManagementCode::MESG_Q_INFO && length == right;
}

void request(Session& session, const RawArguments& arguments) {
    const WireBytes payload = bytesFrom(arguments.hex);
    if (!isAnswered(arguments.code, payload.size())) {
        const ManagementCall call{Management::DAEMON, arguments.code, false, payload};
        session.client.change(OperatorCode::MANAGEMENT, encodeFields(call));
        session.print(Json().set("sent", true), "sent\n");
        return;
    }
    const auto response = Management::call(session, arguments.code, payload);
    const std::string hex = Text::hex(response.payload);
    session.print(Json().set("code", std::int32_t{response.code}).set("status", response.status).set("payload", hex),
                  "response " + std::to_string(response.code) + ": " + hex + "\n");
}

void message(Session& session, const RawArguments& arguments) {
    const WireBytes payload = bytesFrom(arguments.hex);
    const RawMessage raw{Management::DAEMON, arguments.format, arguments.code, payload};
    session.client.change(OperatorCode::MESSAGE, encodeFields(raw));
    session.print(Json().set("sent", true), "sent\n");
}

void setup(Session& session, const CallhomeSettings& settings) {
    const std::vector<Attribute> attributes = settings.attributes();
    std::string lines;
    for (const Attribute& attribute : attributes) {
        lines += Attributes::line(attribute);
    }
    Attributes::change(session, attributes);
    const bool told = Management::announceChange(session);
    session.print(Attributes::json(attributes).set("told", told), lines);
}

constexpr Argument CODE = {"--code", "N", "Message code", true};
constexpr Argument PAYLOAD = {"--hex", "PAYLOAD", "Payload, two hexadecimal digits a byte"};

void addRaw(CommandTree& tree, const CommandTree::Group& group) {
    {
        auto [command, arguments] = tree.command(group, "request", command_text::kRequest, request);
        command.number(CODE, arguments.code, 0, UINT16_MAX).take(PAYLOAD, arguments.hex);
    }
    auto [command, arguments] = tree.command(group, "message", command_text::kMessage, message);
    command.number({"--format", "N", "Message format", true}, arguments.format, 0, UINT16_MAX)
        .number(CODE, arguments.code, 0, UINT16_MAX)
        .take(PAYLOAD, arguments.hex);
}

void addSetup(CommandTree& tree, const CommandTree::Group& group) {
    auto [command, settings] = tree.command(group, "setup", command_text::kSetup, setup);
    command.take({"--from", "A", "Sender of all mails"}, settings.from)
        .take({"--reply-to", "A", "Where answers go"}, settings.replyTo)
        .take({"--smtp", "ADDR:PORT", "Mail server: an address or a host name; or off"}, settings.smtp)
        .take({"--smtp2", "ADDR:PORT", "Second mail server, likewise"}, settings.smtp2)
        .flag("--enable", "Switch CallHome on", settings.enable)
        .flag("--disable", "Switch CallHome off", settings.disable)
        .exclusive("--enable", "--disable")
        .take({"--contact", "TEXT", "Contact's name"}, settings.contact)
        .take({"--contact-email", "A", "Contact's address"}, settings.contactEmail)
        .take({"--phone", "TEXT", "Contact's telephone number"}, settings.phone)
        .take({"--street", "TEXT", "Contact's street address"}, settings.street)
        .take({"--location", "TEXT", "Where the switch stands"}, settings.location);
}

}  // namespace

void addCallhomeCommands(CommandTree& tree) {
    const CommandTree::Group group = tree.group("callhome", "Requests to the CallHome daemon, and its setup");
    tree.command(group, "profile-change", command_text::kProfileChange, profileChange);
    tree.command(group, "clear-queue", command_text::kClearQueue, clearQueue);
    tree.command(group, "processed", command_text::kProcessed, processed);
    tree.command(group, "changeover", command_text::kChangeover, changeover);
    tree.command(group, "queue", command_text::kCallhomeQueue, queue);
    tree.command(group, "probe", command_text::kProbe, probe);
    tree.command(group, "test", command_text::kCallhomeTest, callhomeTest, {"NAME", "", "Name of the profile", true});
    addSetup(tree, group);
    addRaw(tree, group);
}
