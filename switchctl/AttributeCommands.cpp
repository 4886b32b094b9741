// attr: the attribute store as it is.
#include "switchctl/Attributes.h"
#include "switchctl/CommandTree.h"
#include "switchctl/Commands.h"
#include "switchctl/Errors.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

std::string linesOf(const std::vector<Attribute>& attributes) {
    std::string lines;
    for (const Attribute& attribute : attributes) {
        lines += Attributes::line(attribute);
    }
    return lines;
}

void refuseMissing(const std::vector<std::string>& keys) {
    std::string text;
    for (const std::string& key : keys) {
        text += (text.empty() ? "" : ", ") + key;
    }
    if (!keys.empty()) {
        throw Refused("not set: " + text);
    }
}

// What is there is printed, even when something is missing.
void get(Session& session, const std::vector<std::string>& keys) {
    const auto answers =
        OperatorClient::decode<AttributeAnswers>(session.client.call(OperatorCode::GET, KeyList{keys}.encode()));
    std::vector<Attribute> found;
    std::vector<std::string> missing;
    for (const auto& answer : answers.answers) {
        if (answer.found) {
            found.push_back(answer.attribute);
        } else {
            missing.push_back(answer.attribute.key);
        }
    }
    session.print(Attributes::json(found).set("missing", missing), linesOf(found));
    refuseMissing(missing);
}

void set(Session& session, const std::vector<std::string>& texts) {
    std::vector<Attribute> attributes;
    for (const std::string& text : texts) {
        attributes.push_back(Attributes::parse(text));
    }
    const auto json = Attributes::json(attributes);
    Attributes::setValues(session, std::move(attributes));
    session.print(json, "");
}

void load(Session& session, const std::string& name) {
    std::ifstream file;
    if (name != "-") {
        file.open(name);
        if (!file) {
            throw UsageError("cannot read " + name + ": " + std::strerror(errno));
        }
    }
    std::vector<Attribute> attributes = Attributes::parseFile(name == "-" ? std::cin : file, name);
    const std::size_t count = attributes.size();
    Attributes::setValues(session, std::move(attributes));
    session.print(Json().set("loaded", std::uint64_t{count}), "");
}

void unset(Session& session, const std::vector<std::string>& keys) {
    const WireBytes request = ChangeRequest{{}, keys}.encode();
    const auto missing = OperatorClient::decode<KeyList>(session.client.change(OperatorCode::CHANGE, request)).keys;
    session.print(Json().set("unset", std::uint64_t{keys.size() - missing.size()}).set("missing", missing), "");
    refuseMissing(missing);
}

using Texts = std::vector<std::string>;

void checkKeys(const Texts& keys) {
    for (const std::string& key : keys) {
        Attributes::checkKey(key);
    }
}

void addGet(CommandTree& tree, const CommandTree::Group& attr) {
    const auto keys = std::make_shared<Texts>();
    tree.command(attr, "get",
                 {"attr get KEY...", "Print attributes", "attr get Global.Callhome.FromAddr Config.Switch.SymName"},
                 [keys](Session& session) {
                     checkKeys(*keys);
                     get(session, *keys);
                 })
        .take({"KEY", "", "Keys", true}, *keys);
}

void addSet(CommandTree& tree, const CommandTree::Group& attr) {
    const auto texts = std::make_shared<Texts>();
    tree.command(attr, "set",
                 {"attr set KEY=VALUE...", "Set attributes, all of them or none",
                  "attr set Config.Switch.SymName=sw01 \"Global.Snmp.Location=Rack 7\""},
                 [texts](Session& session) { set(session, *texts); })
        .take({"KEY=VALUE", "", "Keys and their new values", true}, *texts);
}

void addList(CommandTree& tree, const CommandTree::Group& attr) {
    const auto prefix = std::make_shared<std::string>();
    tree.command(attr, "list",
                 {"attr list [PREFIX]", "Print all attributes, or those that begin with PREFIX",
                  "attr list Global.CallhomeDB."},
                 [prefix](Session& session) {
                     const auto attributes = Attributes::list(session, *prefix);
                     session.print(Attributes::json(attributes), linesOf(attributes));
                 })
        .take({"PREFIX", "", "How the keys begin"}, *prefix);
}

void addLoad(CommandTree& tree, const CommandTree::Group& attr) {
    const auto name = std::make_shared<std::string>();
    tree.command(attr, "load",
                 {"attr load FILE", "Set attributes from KEY=VALUE lines in a file", "attr load lab.attributes"},
                 [name](Session& session) { load(session, *name); })
        .take({"FILE", "", "KEY=VALUE lines, # comments; - for standard input", true}, *name);
}

void addUnset(CommandTree& tree, const CommandTree::Group& attr) {
    const auto keys = std::make_shared<Texts>();
    tree.command(attr, "unset", {"attr unset KEY...", "Remove attributes", "attr unset Global.Callhome.ReplyToAddr"},
                 [keys](Session& session) {
                     checkKeys(*keys);
                     unset(session, *keys);
                 })
        .take({"KEY", "", "Keys", true}, *keys);
}

}  // namespace

void addAttributeCommands(CommandTree& tree) {
    const CommandTree::Group attr = tree.group("attr", "The attribute store: get, set, list, load, unset");
    addGet(tree, attr);
    addSet(tree, attr);
    addList(tree, attr);
    addLoad(tree, attr);
    addUnset(tree, attr);
}
