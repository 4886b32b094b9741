#include "switchctl/client/Attributes.h"

#include "dsClient.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"
#include "switchd/store/AttributeStore.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace Attributes {
namespace {

constexpr std::size_t MAX_FILE = 24u << 20;
constexpr std::size_t SHOWN = 60;

// What of a text an error message repeats.
std::string quoted(const std::string& text) {
    return "\"" + Text::oneLine(text.substr(0, SHOWN)) + (text.size() > SHOWN ? "\"..." : "\"");
}

// A line without its end. A file that has none is not read for ever.
bool readLine(std::istream& file, std::string& line) {
    std::array<char, 4096> part{};
    line.clear();
    for (bool more = true; more && line.size() <= MAX_FILE;) {
        file.getline(part.data(), part.size());
        line.append(part.data(), static_cast<std::size_t>(file.gcount()) - (file.good() ? 1 : 0));
        more = file.fail() && !file.eof() && !file.bad();  // The part is full.
        if (more) {
            file.clear();
        }
    }
    if (line.empty() && !file) {
        return false;
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return true;
}

}  // namespace

void checkKey(const std::string& key) {
    if (key.empty() || key.size() > AttributeStore::MAX_KEY) {
        throw UsageError(quoted(key) + " cannot be a key; a key has 1 to 255 characters");
    }
    if (!std::ranges::all_of(key, [](char c) { return c > ' ' && c < 0x7F && c != '='; })) {
        throw UsageError(quoted(key) +
                         " cannot be a key; a key has no blanks, no '=' and nothing but ASCII characters");
    }
}

Attribute parse(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw UsageError(quoted(text) + " has no '='; write KEY=VALUE");
    }
    Attribute attribute{text.substr(0, equals), dsClient::TYPE_STRING, text.substr(equals + 1)};
    checkKey(attribute.key);
    if (attribute.value.size() > AttributeStore::MAX_VALUE) {
        throw UsageError("the value of " + attribute.key + " is too long; a value has at most 10 MB");
    }
    return attribute;
}

std::vector<Attribute> parseFile(std::istream& file, const std::string& name) {
    std::vector<Attribute> attributes;
    std::string line;
    std::size_t bytes = 0;
    for (std::size_t number = 1; readLine(file, line); ++number) {
        bytes += line.size();
        if (bytes > MAX_FILE) {
            throw UsageError(
                name + ":" + std::to_string(number) +
                ": up to here there are more than 24 MB, the most that are set at once; write several files");
        }
        const std::size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == '#') {
            continue;
        }
        try {
            attributes.push_back(parse(line.substr(start)));
        } catch (const UsageError& error) {
            throw UsageError(name + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    if (file.bad()) {
        throw UsageError("cannot read " + name + "; write the name of a text file");
    }
    return attributes;
}

std::vector<Attribute> list(Session& session, const std::string& prefix) {
    std::vector<Attribute> attributes;
    ListRequest request{prefix, ""};
    for (;;) {
        auto page =
            OperatorClient::decode<AttributePage>(session.client.call(OperatorCode::LIST, encodeFields(request)));
        std::move(page.attributes.begin(), page.attributes.end(), std::back_inserter(attributes));
        if (!page.more || page.attributes.empty()) {
            return attributes;
        }
        request.after = attributes.back().key;
    }
}

std::map<std::string, std::string> get(Session& session, const std::vector<std::string>& keys) {
    const WireBytes body = session.client.call(OperatorCode::GET, encodeFields(KeyList{keys}));
    std::map<std::string, std::string> values;
    for (auto& answer : OperatorClient::decode<AttributeAnswers>(body).answers) {
        if (answer.found) {
            values[answer.attribute.key] = std::move(answer.attribute.value);
        }
    }
    return values;
}

void change(Session& session, std::vector<Attribute> set, std::vector<std::string> unset) {
    if (!set.empty() || !unset.empty()) {
        session.client.change(OperatorCode::CHANGE, encodeFields(ChangeRequest{std::move(set), std::move(unset)}));
    }
}

void setValues(Session& session, std::vector<Attribute> attributes) {
    KeyList keys;
    for (const Attribute& attribute : attributes) {
        keys.keys.push_back(attribute.key);
    }
    const auto present =
        OperatorClient::decode<AttributeAnswers>(session.client.call(OperatorCode::GET, encodeFields(keys))).answers;
    for (std::size_t index = 0; index < std::min(present.size(), attributes.size()); ++index) {
        if (present[index].found) {
            attributes[index].type = present[index].attribute.type;
        }
    }
    change(session, std::move(attributes));
}

std::string line(const Attribute& attribute) {
    return attribute.key + "=" + Text::oneLine(attribute.value) + "\n";
}

Json json(const std::vector<Attribute>& attributes) {
    Json object;
    for (const Attribute& attribute : attributes) {
        object.set(attribute.key, attribute.value);
    }
    return Json().set("attributes", object);
}

}  // namespace Attributes
