// attr: the attribute store as it is.
#include "switchctl/client/Attributes.h"
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/text/Errors.h"

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

using Texts = std::vector<std::string>;

void checkKeys(const Texts& keys) {
    for (const std::string& key : keys) {
        Attributes::checkKey(key);
    }
}

// What is there is printed, even when something is missing.
void get(Session& session, const Texts& keys) {
    checkKeys(keys);
    const auto answers =
        OperatorClient::decode<AttributeAnswers>(session.client.call(OperatorCode::GET, encodeFields(KeyList{keys})));
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

void set(Session& session, const Texts& texts) {
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

void unset(Session& session, const Texts& keys) {
    checkKeys(keys);
    const WireBytes request = encodeFields(ChangeRequest{{}, keys});
    const auto missing = OperatorClient::decode<KeyList>(session.client.change(OperatorCode::CHANGE, request)).keys;
    session.print(Json().set("unset", std::uint64_t{keys.size() - missing.size()}).set("missing", missing), "");
    refuseMissing(missing);
}

void list(Session& session, const std::string& prefix) {
    const auto attributes = Attributes::list(session, prefix);
    session.print(Attributes::json(attributes), linesOf(attributes));
}

}  // namespace

void addAttributeCommands(CommandTree& tree) {
    const CommandTree::Group attr = tree.group("attr", "The attribute store: get, set, list, load, unset");
    tree.command(attr, "get", command_text::kAttrGet, get, {"KEY", "", "Keys", true});
    tree.command(attr, "set", command_text::kAttrSet, set, {"KEY=VALUE", "", "Keys and their new values", true});
    tree.command(attr, "list", command_text::kAttrList, list, {"PREFIX", "", "How the keys begin"});
    tree.command(attr, "load", command_text::kAttrLoad, load,
                 {"FILE", "", "KEY=VALUE lines, # comments; - for standard input", true});
    tree.command(attr, "unset", command_text::kAttrUnset, unset, {"KEY", "", "Keys", true});
}
