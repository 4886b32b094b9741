// wait, status: who is there and how far it has come.
#include "switchctl/CommandTree.h"
#include "switchctl/Commands.h"
#include "switchctl/Errors.h"
#include "switchctl/Text.h"

#include <strings.h>
#include <array>

namespace {

// In the order of ComponentState.
constexpr std::array<const char*, 5> STATE_NAMES = {"absent", "registered", "ready", "configured", "started"};

std::string stateName(ComponentState state) {
    const auto number = static_cast<std::size_t>(state);
    return number < STATE_NAMES.size() ? STATE_NAMES[number] : std::to_string(number);
}

ComponentState stateCalled(const std::string& name) {
    for (std::size_t number = 1; number < STATE_NAMES.size(); ++number) {
        if (name == STATE_NAMES[number]) {
            return static_cast<ComponentState>(number);
        }
    }
    throw UsageError("unknown state \"" + name + "\"; it is registered, ready, configured or started");
}

std::vector<ComponentList::Component> components(Session& session) {
    return OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS)).components;
}

void status(Session& session) {
    std::vector<std::vector<std::string>> rows;
    Json list = Json::array();
    for (const auto& component : components(session)) {
        const std::string state = stateName(component.state);
        rows.push_back(
            {component.name, state, std::to_string(component.node) + "." + std::to_string(component.process)});
        list.add(Json()
                     .set("name", component.name)
                     .set("state", state)
                     .set("node", component.node)
                     .set("process", component.process));
    }
    session.print(Json().set("components", list), rows.empty() ? "no components\n" : Text::table(rows));
}

// For the message when time has run out.
std::string presentState(Session& session, const std::string& name) {
    session.client.timeout(std::chrono::seconds(2));
    for (const auto& component : components(session)) {
        if (strcasecmp(component.name.c_str(), name.c_str()) == 0) {
            return stateName(component.state);
        }
    }
    return "absent";
}

void wait(Session& session, const std::string& component, const std::string& state) {
    const WaitRequest request{component, stateCalled(state)};
    const std::string limit = Text::seconds(session.client.timeout().count());
    try {
        session.client.call(OperatorCode::WAIT, request.encode(), component);
    } catch (const NoAnswer& error) {
        throw NoAnswer(component + " was not " + state + " in " + limit + " s: it is " +
                       presentState(session, component));
    }
    session.print(Json().set("component", component).set("state", state), "");
}

struct WaitArguments {
    std::string component;
    std::string state;
};

}  // namespace

void addSwitchCommands(CommandTree& tree) {
    const auto arguments = std::make_shared<WaitArguments>();
    tree.command(tree.root(), "wait",
                 {"wait COMPONENT STATE [--timeout S]", "Wait until a component has come so far",
                  "wait orvApp started --timeout 30"},
                 [arguments](Session& session) { wait(session, arguments->component, arguments->state); })
        .take({"COMPONENT", "", "Name of the component", true}, arguments->component)
        .take({"STATE", "", "registered, ready, configured or started", true}, arguments->state);
    tree.command(tree.root(), "status", {"status", "Components and their states", "status"}, status);
}
