#include "switchctl/Switchctl.h"

#include "switchctl/CommandTree.h"
#include "switchctl/Commands.h"
#include "switchctl/Errors.h"

namespace {

using AddCommands = void (*)(CommandTree&);

// In the order in which --help lists them.
constexpr AddCommands GROUPS[] = {
    addSwitchCommands,  addAttributeCommands, addEventCommands, addCallhomeCommands,
    addProfileCommands, addLogCommands,       addFaultCommands,
};

int fail(std::ostream& err, const std::string& what, int status) {
    err << "switchctl: " << what << std::endl;
    return status;
}

int failUsage(std::ostream& err, const CommandTree& tree, const std::string& what) {
    err << "switchctl: " << what << "\n" << tree.usage() << std::flush;
    return ExitStatus::WRONG_USAGE;
}

}  // namespace

int runSwitchctl(const std::vector<std::string>& arguments, const OperatorClient::Connect& connect, std::ostream& out,
                 std::ostream& err) {
    CommandTree tree;
    for (const AddCommands add : GROUPS) {
        add(tree);
    }
    try {
        std::string problem;
        switch (tree.parse(arguments, problem)) {
            case CommandTree::Outcome::HELP:
                out << tree.help() << std::flush;
                return ExitStatus::DONE;
            case CommandTree::Outcome::WRONG:
                return failUsage(err, tree, problem);
            case CommandTree::Outcome::RUN:
                break;
        }
        OperatorClient client(connect);
        client.timeout(tree.timeout());
        Session session{client, out, err, tree.json()};
        tree.run(session);
        return ExitStatus::DONE;
    } catch (const UsageError& error) {
        return failUsage(err, tree, error.what());
    } catch (const Refused& error) {
        return fail(err, error.what(), ExitStatus::REFUSED);
    } catch (const NoAnswer& error) {
        return fail(err, error.what(), ExitStatus::NO_ANSWER);
    } catch (const std::exception& error) {
        return fail(err, error.what(), ExitStatus::REFUSED);
    }
}
