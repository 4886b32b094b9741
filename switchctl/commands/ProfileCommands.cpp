// profile: CallHome's profiles.
#include "MessageCodes.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/client/Management.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/input/ProfileTable.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Rules.h"
#include "switchctl/text/Suggestion.h"
#include "switchctl/text/Text.h"

namespace {

ProfileTable read(Session& session) {
    return ProfileTable(Attributes::list(session, ProfileTable::PREFIX));
}

// Whether the daemon has been told.
bool store(Session& session, const ProfileTable& table, const std::string& done) {
    AttributeChange change = table.change();
    Attributes::change(session, std::move(change.set), std::move(change.unset));
    return Management::announceChange(session, done);
}

Json json(const ProfileTable::Profile& profile) {
    Json object;
    object.set("name", profile.name)
        .set("level", profile.field("Level"))
        .set("format", profile.field("Format"))
        .setNull("maxSize")
        .set("subject", profile.field("EmailSubject"))
        .set("emails", profile.emails())
        .set("capture", profile.capture());
    if (const auto bytes = Text::number(profile.field("MaxSize"), INT64_MIN, INT64_MAX)) {
        object.set("maxSize", *bytes);
    }
    return object;
}

// Mon, 02:30, every 2 weeks
std::string captureWords(const ProfileTable::Profile& profile) {
    const auto parts = Text::split(profile.capture(), ',');
    if (parts.size() != 3) {
        return "none";
    }
    return parts[0] + ", " + parts[1] + ", every " + (parts[2] == "1" ? "week" : parts[2] + " weeks");
}

std::string lines(const ProfileTable::Profile& profile) {
    std::vector<std::vector<std::string>> rows = {{"name", profile.name},
                                                  {"level", profile.field("Level")},
                                                  {"format", profile.field("Format")},
                                                  {"largest mail", profile.field("MaxSize") + " bytes"},
                                                  {"subject", profile.field("EmailSubject")}};
    for (const std::string& address : profile.emails()) {
        rows.push_back({"email", address});
    }
    rows.push_back({"capture", captureWords(profile)});
    for (auto& row : rows) {
        row[1] = Text::oneLine(row[1]);
    }
    return Text::table(rows);
}

void listProfiles(Session& session) {
    const ProfileTable table = read(session);
    std::vector<std::vector<std::string>> rows = {{"NAME", "LEVEL", "FORMAT", "ADDRESSES"}};
    Json array = Json::array();
    for (const auto& profile : table.profiles()) {
        std::string addresses;
        for (const std::string& address : profile.emails()) {
            addresses += (addresses.empty() ? "" : ",") + address;
        }
        rows.push_back({Text::oneLine(profile.name), Text::oneLine(profile.field("Level")),
                        Text::oneLine(profile.field("Format")), Text::oneLine(addresses)});
        array.add(json(profile));
    }
    session.print(Json().set("profiles", array), rows.size() == 1 ? "no profiles\n" : Text::table(rows));
}

void show(Session& session, const std::string& name) {
    const ProfileTable table = read(session);
    const ProfileTable::Profile* profile = table.find(name);
    if (profile == nullptr) {
        throw Refused(table.noSuchProfile(name));
    }
    session.print(json(*profile), lines(*profile));
}

// Any word stands for the short form, also one that was meant for another.
void noteFormat(Session& session, const std::string& format) {
    const std::string meant = Suggestion::didYouMean(format, Rules::formats());
    if (!meant.empty() && Suggestion::inAnyCase(format, Rules::formats()).empty()) {
        session.note("\"" + format + "\" stands for the short form" + meant);
    }
}

// The settings are looked at before switchd is asked.
void add(Session& session, const ProfileSettings& settings) {
    ProfileTable({}).add(settings);
    ProfileTable table = read(session);
    table.add(settings);
    const bool told = store(session, table, "stored");
    session.print(json(table.profiles().back()).set("told", told), "profile " + settings.name + " added\n");
    noteFormat(session, settings.format);
}

void set(Session& session, const ProfileChange& change) {
    ProfileTable table = read(session);
    table.set(change);
    const bool told = store(session, table, "stored");
    session.print(json(*table.find(change.name)).set("told", told), "profile " + change.name + " changed\n");
    noteFormat(session, change.format.value_or(""));
}

void remove(Session& session, const std::string& name) {
    ProfileTable table = read(session);
    table.remove(name);
    const bool told = store(session, table, "removed");
    session.print(Json().set("removed", name).set("told", told), "profile " + name + " removed\n");
}

void addProfileAdd(CommandTree& tree, const CommandTree::Group& group) {
    auto [command, settings] = tree.command(group, "add", command_text::kProfileAdd, add);
    command.take({"NAME", "", "Up to 32 bytes", true}, settings.name)
        .take({"--level", "L", "Info, Warn, Critical, Alarm, Fault or None", true}, settings.level)
        .take({"--format", "F", "FullText, Tsc1, or any other word for the short form", true}, settings.format)
        .take({"--email", "A", "Up to 10 addresses", true}, settings.emails)
        .number({"--max-size", "N", "Bytes of a mail (2000000)"}, settings.maxSize, Rules::MIN_SIZE, Rules::MAX_SIZE)
        .take({"--subject", "S", "Up to 64 bytes"}, settings.subject)
        .take({"--capture", "DAY,HH:MM,WEEKS", "Weekly capture, as in Mon,02:30,1"}, settings.capture);
}

void addProfileSet(CommandTree& tree, const CommandTree::Group& group) {
    auto [command, change] = tree.command(group, "set", command_text::kProfileSet, set);
    command.take({"NAME", "", "Name of the profile", true}, change.name)
        .take({"--level", "L", "Info, Warn, Critical, Alarm, Fault or None"}, change.level)
        .take({"--format", "F", "FullText, Tsc1, or any other word for the short form"}, change.format)
        .take({"--email", "A", "Up to 10 addresses, in place of those that are there"}, change.emails)
        .number({"--max-size", "N", "Bytes of a mail"}, change.maxSize, Rules::MIN_SIZE, Rules::MAX_SIZE)
        .take({"--subject", "S", "Up to 64 bytes"}, change.subject)
        .take({"--capture", "DAY,HH:MM,WEEKS", "Weekly capture, as in Mon,02:30,1; off for none"}, change.capture);
}

constexpr Argument NAME = {"NAME", "", "Name of the profile", true};

}  // namespace

void addProfileCommands(CommandTree& tree) {
    const CommandTree::Group group = tree.group("profile", "CallHome's profiles: list, show, add, set, remove");
    tree.command(group, "list", command_text::kProfileList, listProfiles);
    tree.command(group, "show", command_text::kProfileShow, show, NAME);
    addProfileAdd(tree, group);
    addProfileSet(tree, group);
    tree.command(group, "remove", command_text::kProfileRemove, remove, NAME);
}
