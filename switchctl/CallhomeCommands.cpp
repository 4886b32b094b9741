// callhome: the daemon's management requests, its probe, its settings.
#include "host_root.h"
#include "platform/wire/ManagementWire.h"
#include "platform/wire/MessageCodes.h"
#include "switchctl/Attributes.h"
#include "switchctl/CallhomeSetup.h"
#include "switchctl/CommandTree.h"
#include "switchctl/Commands.h"
#include "switchctl/Errors.h"
#include "switchctl/EventArguments.h"
#include "switchctl/Management.h"
#include "switchctl/ProbeTrace.h"
#include "switchctl/Rules.h"
#include "switchctl/Text.h"

#include <cerrno>
#include <cstring>
#include <optional>

namespace {

constexpr const char* MAIN_TRACE = "/tmp/orv.out.Main";

// Sends a request without further answer and prints that it is done.
template <std::uint16_t CODE>
void plainRequest(Session& session) {
    const auto response = Management::request(session, CODE);
    session.print(Json().set("status", response.status), "done\n");
}

void queue(Session& session) {
    const auto response = Management::request(session, ManagementCode::MESG_Q_INFO);
    const auto whole = InfoResponse::decode(response.payload);
    const auto info = whole ? QueueInfo::decode(whole->info) : std::nullopt;
    if (!info) {
        throw Refused("orvApp's queue information cannot be read");
    }
    session.print(Json().set("bytesInUse", info->bytesInUse).set("waiting", info->waiting).set("open", info->open),
                  "bytes in use: " + std::to_string(info->bytesInUse) + "\nwaiting: " + std::to_string(info->waiting) +
                      "\nopen: " + std::to_string(info->open) + "\n");
}

void processed(Session& session) {
    const auto response = Management::request(session, ManagementCode::PROFILE_PROCESSED_INFO);
    const auto whole = InfoResponse::decode(response.payload);
    const auto info = whole ? ProcessedInfo::decode(whole->info) : std::nullopt;
    if (!info) {
        throw Refused("orvApp's profile information cannot be read");
    }
    std::vector<std::vector<std::string>> rows;
    Json list = Json::array();
    for (const auto& profile : info->profiles) {
        rows.push_back({Text::oneLine(profile.name), std::to_string(profile.processed), Text::oneLine(profile.last)});
        list.add(Json().set("name", profile.name).set("processed", profile.processed).set("last", profile.last));
    }
    session.print(list, rows.empty() ? "no profiles\n" : Text::table(rows));
}

// A result that the daemon has is told at once; for a profile that it does not know there is none.
void test(Session& session, const std::string& name) {
    Rules::profileName(name);
    std::optional<std::uint32_t> result;
    session.client.open(OperatorCode::WATCH_RESULTS, {}, [&](WireSpan body) {
        const auto results = TestResults::decode(body);
        for (const auto& one : results ? results->results : std::vector<TestResults::Result>()) {
            if (one.profile == name) {
                result = one.status;
            }
        }
    });
    const auto response =
        Management::call(session, ManagementCode::TEST_PROFILE, TestProfileRequest{0, 0, name}.encode());
    Management::check(response, ManagementCode::TEST_PROFILE);
    if (!session.json) {
        session.print(Json(), name + ": accepted\n");
    }
    if (!session.client.serveUntil([&] { return result.has_value(); })) {
        throw NoAnswer("no result for " + name + " in " + Text::seconds(session.client.timeout().count()) +
                       " s; its mail is still being tried, or orvApp has no such profile");
    }
    if (*result != 0) {
        throw Refused("the test message for " + name + " was not sent (status " + std::to_string(*result) +
                      "); see switchctl log --level 3");
    }
    session.print(Json().set("profile", name).set("status", response.status).set("result", *result), name + ": sent\n");
}

void probe(Session& session) {
    const std::string file = host_root() + MAIN_TRACE;
    ProbeTrace trace(file);
    trace.mark();
    session.client.call(OperatorCode::PROBE, ProbeRequest{Management::DAEMON, ProbeCode::DUMP_STATE}.encode(),
                        Management::DAEMON);
    std::string text;
    if (trace.readSince(text) < 0) {
        throw Refused("orvApp has answered, but its trace " + file + " cannot be read: " + std::strerror(errno));
    }
    text = ProbeTrace::fromProbe(text);
    session.print(Json().set("trace", text), text);
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
        session.client.call(OperatorCode::MANAGEMENT, call.encode());
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
    session.client.call(OperatorCode::MESSAGE, raw.encode());
    session.print(Json().set("sent", true), "sent\n");
}

void setup(Session& session, const CallhomeSettings& settings) {
    const std::vector<Attribute> attributes = settings.attributes();
    std::string lines;
    for (const Attribute& attribute : attributes) {
        lines += Attributes::line(attribute);
    }
    Attributes::change(session, attributes);
    session.print(Attributes::json(attributes), lines);
    Management::announceChange(session);
}

struct PlainCommand {
    const char* name;
    CommandText text;
    void (*action)(Session&);
};

constexpr PlainCommand PLAIN_COMMANDS[] = {
    {"profile-change",
     {"callhome profile-change", "Have settings and profiles read anew", "callhome profile-change"},
     plainRequest<ManagementCode::PROFILE_CHANGE>},
    {"clear-queue",
     {"callhome clear-queue", "Discard all queued messages", "callhome clear-queue"},
     plainRequest<ManagementCode::CLEAR_QUEUE>},
    {"processed",
     {"callhome processed", "Print how many messages each profile has processed", "callhome processed"},
     processed},
    {"changeover",
     {"callhome changeover", "Change to the other mail server", "callhome changeover"},
     plainRequest<ManagementCode::CHANGEOVER>},
    {"queue", {"callhome queue", "Print the state of the queue", "callhome queue"}, queue},
    {"probe", {"callhome probe", "Have the daemon trace its state, and print that", "callhome probe"}, probe},
};

void addTest(CommandTree& tree, const CommandTree::Group& group) {
    const auto name = std::make_shared<std::string>();
    tree.command(group, "test",
                 {"callhome test NAME [--timeout S]", "Send a test message and wait for its result",
                  "callhome test Operators --timeout 60"},
                 [name](Session& session) { test(session, *name); })
        .take({"NAME", "", "Name of the profile", true}, *name);
}

constexpr Argument CODE = {"--code", "N", "Message code", true};
constexpr Argument PAYLOAD = {"--hex", "PAYLOAD", "Payload, two hexadecimal digits a byte"};

void addRaw(CommandTree& tree, const CommandTree::Group& group) {
    const auto arguments = std::make_shared<RawArguments>();
    tree.command(group, "request",
                 {"callhome request --code N [--hex PAYLOAD]", "Send any management request",
                  "callhome request --code 6 --hex 0000000000000000"},
                 [arguments](Session& session) { request(session, *arguments); })
        .number(CODE, arguments->code, 0, UINT16_MAX)
        .take(PAYLOAD, arguments->hex);
    tree.command(group, "message",
                 {"callhome message --format N --code N [--hex PAYLOAD]", "Send any message",
                  "callhome message --format 108 --code 5"},
                 [arguments](Session& session) { message(session, *arguments); })
        .number({"--format", "N", "Message format", true}, arguments->format, 0, UINT16_MAX)
        .number(CODE, arguments->code, 0, UINT16_MAX)
        .take(PAYLOAD, arguments->hex);
}

void addSetup(CommandTree& tree, const CommandTree::Group& group) {
    const auto settings = std::make_shared<CallhomeSettings>();
    tree.command(group, "setup",
                 {"callhome setup [OPTION...]", "Set what an operator sets, then have it read",
                  "callhome setup --enable --from sw@example.com --smtp 1-192.0.2.1:25"},
                 [settings](Session& session) { setup(session, *settings); })
        .take({"--from", "A", "Sender of all mails"}, settings->from)
        .take({"--reply-to", "A", "Where answers go"}, settings->replyTo)
        .take({"--smtp", "KIND-ADDR:PORT", "Mail server: 1- IPv4, 2- IPv6, 3- name; or off"}, settings->smtp)
        .take({"--smtp2", "KIND-ADDR:PORT", "Second mail server, likewise"}, settings->smtp2)
        .flag("--enable", "Switch CallHome on", settings->enable)
        .flag("--disable", "Switch CallHome off", settings->disable)
        .exclusive("--enable", "--disable")
        .take({"--contact", "TEXT", "Contact's name"}, settings->contact)
        .take({"--contact-email", "A", "Contact's address"}, settings->contactEmail)
        .take({"--phone", "TEXT", "Contact's telephone number"}, settings->phone)
        .take({"--street", "TEXT", "Contact's street address"}, settings->street)
        .take({"--location", "TEXT", "Where the switch stands"}, settings->location);
}

}  // namespace

void addCallhomeCommands(CommandTree& tree) {
    const CommandTree::Group group = tree.group("callhome", "Requests to the CallHome daemon, and its setup");
    for (const PlainCommand& plain : PLAIN_COMMANDS) {
        tree.command(group, plain.name, plain.text, plain.action);
    }
    addTest(tree, group);
    addSetup(tree, group);
    addRaw(tree, group);
}
