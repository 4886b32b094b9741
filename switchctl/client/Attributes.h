// What commands read from and write to the attribute store.
#pragma once

#include "switchctl/client/Session.h"
#include "switchd/store/Attribute.h"

#include <istream>
#include <map>
#include <string>
#include <vector>

namespace Attributes {

// KEY=VALUE; throws UsageError when it is not.
Attribute parse(const std::string& text);
// Throws UsageError when no attribute can be called so.
void checkKey(const std::string& key);
// Lines of KEY=VALUE, empty lines and lines that begin with #. Throws UsageError that names file and line. Reads no
// more than a request to the switch can carry.
std::vector<Attribute> parseFile(std::istream& file, const std::string& name);

// All whose keys begin with prefix, in order.
std::vector<Attribute> list(Session& session, const std::string& prefix);
// The values of those keys that are set.
std::map<std::string, std::string> get(Session& session, const std::vector<std::string>& keys);
// All of it or nothing.
void change(Session& session, std::vector<Attribute> set, std::vector<std::string> unset = {});

// As change, and what is there already keeps its type: an operator writes values only.
void setValues(Session& session, std::vector<Attribute> attributes);

// KEY=VALUE, on one line whatever the value holds.
std::string line(const Attribute& attribute);
// {"attributes": {KEY: VALUE, ...}}
Json json(const std::vector<Attribute>& attributes);

}  // namespace Attributes
