#include "switchctl/Switchctl.h"

#include "orv_version.h"
#include "switchctl/client/Session.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/text/Errors.h"

#include <algorithm>

namespace {

// A failure that --json tells too, unless the command has printed its object before.
int fail(Session& session, const char* kind, const std::exception& error, int status,
         const Refused* refusal = nullptr) {
    session.note(error.what());
    if (session.json && !session.printed) {
        Json object;
        object.set("error", kind).set("reason", error.what());
        if (refusal != nullptr && refusal->responseStatus) {
            object.set("status", *refusal->responseStatus);
        }
        session.print(object, "");
    }
    return status;
}

int failUsage(Session& session, const CommandTree& tree, const std::exception& error) {
    fail(session, "usage", error, ExitStatus::WRONG_USAGE);
    session.err << tree.usage() << std::flush;
    return ExitStatus::WRONG_USAGE;
}

int runLine(const std::vector<std::string>& arguments, CommandTree& tree, Session& session) {
    std::string problem;
    switch (tree.parse(arguments, problem)) {
        case CommandTree::Outcome::HELP:
            session.write(tree.help());
            return ExitStatus::DONE;
        case CommandTree::Outcome::VERSION:
            session.write("switchctl " ORV_VERSION "\n");
            return ExitStatus::DONE;
        case CommandTree::Outcome::WRONG:
            throw UsageError(problem);
        case CommandTree::Outcome::RUN:
            break;
    }
    session.json = tree.json();
    session.client.timeout(tree.timeout());
    tree.run(session);
    return ExitStatus::DONE;
}

int runAndTell(const std::vector<std::string>& arguments, CommandTree& tree, Session& session) {
    try {
        return runLine(arguments, tree, session);
    } catch (const CannotWrite&) {
        throw;
    } catch (const NeedsAPerson&) {
        return ExitStatus::REFUSED;
    } catch (const UsageError& error) {
        return failUsage(session, tree, error);
    } catch (const Refused& error) {
        return fail(session, "refused", error, ExitStatus::REFUSED, &error);
    } catch (const NoAnswer& error) {
        return fail(session, "no answer", error, ExitStatus::NO_ANSWER);
    } catch (const std::exception& error) {
        return fail(session, "failed", error, ExitStatus::REFUSED);
    }
}

}  // namespace

int runSwitchctl(const std::vector<std::string>& arguments, const OperatorClient::Connect& connect, std::ostream& out,
                 std::ostream& err) {
    CommandTree tree;
    addCommands(tree);
    OperatorClient client(connect);
    // A line that is not understood is answered in JSON as well when it asks for it.
    Session session{client, out, err, std::ranges::find(arguments, "--json") != arguments.end()};
    session.line = [&connect](const std::vector<std::string>& line, std::ostream& lineOut, std::ostream& lineErr) {
        return runSwitchctl(line, connect, lineOut, lineErr);
    };
    try {
        return runAndTell(arguments, tree, session);
    } catch (const CannotWrite& error) {
        session.note(error.what());
        return ExitStatus::REFUSED;
    }
}
