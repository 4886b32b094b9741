// wait, status: who is there, how far it has come, and whether it can do its work.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/commands/WatchCommand.h"
#include "switchctl/queue/QueueFacts.h"
#include "switchctl/status/StatusFacts.h"
#include "switchctl/status/StatusReport.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/status/StatusWatch.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"

#include <strings.h>

namespace {

ComponentState stateCalled(const std::string& name) {
    for (const ComponentState state :
         {ComponentState::REGISTERED, ComponentState::READY, ComponentState::CONFIGURED, ComponentState::STARTED}) {
        if (name == stateName(state)) {
            return state;
        }
    }
    throw UsageError("unknown state \"" + name + "\"; it is registered, ready, configured or started");
}

std::vector<ComponentList::Component> components(Session& session) {
    return OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS)).components;
}

struct StatusArguments {
    bool passive = false;
};

// All that is known is printed, also when the daemon does not answer.
void status(Session& session, const StatusArguments& arguments) {
    const auto ask = arguments.passive ? StatusFacts::Ask::PASSIVE : StatusFacts::Ask::DAEMON;
    StatusFacts facts = StatusFacts::gather(session, ask);
    if (arguments.passive && facts.daemon() != nullptr) {
        facts.queue = queueOnFlash(QueueFiles::read(), facts.traces);
    }
    const StatusProblems problems = statusProblems(facts);
    const std::string lines = statusLines(facts, problems);
    session.print(statusJson(facts, problems),
                  Colour::isWanted(session.out) ? Colour::heading(lines, shadeOf(problems)) : lines);
    endWithStatus(facts, problems);
}

// For the message when time has run out.
std::string presentState(Session& session, const std::string& name) {
    session.client.timeout(std::chrono::seconds(1));
    for (const auto& component : components(session)) {
        if (strcasecmp(component.name.c_str(), name.c_str()) == 0) {
            return stateName(component.state);
        }
    }
    return "absent";
}

struct WaitArguments {
    std::string component;
    std::string state;
};

void wait(Session& session, const WaitArguments& arguments) {
    const auto& [component, state] = arguments;
    if (component.empty()) {
        throw UsageError("a component has a name; write it as status prints it");
    }
    const WaitRequest request{component, stateCalled(state)};
    const std::string limit = Text::seconds(session.client.timeout().count());
    try {
        session.client.call(OperatorCode::WAIT, encodeFields(request), component);
    } catch (const SwitchdSilent&) {
        throw;
    } catch (const NoAnswer& error) {
        throw NoAnswer(component + " was not " + state + " in " + limit + " s: it is " +
                       presentState(session, component));
    }
    session.print(Json().set("component", component).set("state", state), "");
}

}  // namespace

void addSwitchCommands(CommandTree& tree) {
    auto [command, arguments] = tree.command(tree.root(), "wait", command_text::kWait, wait);
    command.take({"COMPONENT", "", "Name of the component", true}, arguments.component)
        .take({"STATE", "", "registered, ready, configured or started", true}, arguments.state);
    auto [look, how] = tree.command(tree.root(), "status", command_text::kStatus, status);
    look.flag("--passive", "Ask orvApp nothing", how.passive);
    addDoctorCommand(tree);
    addWatchCommand(tree);
}
