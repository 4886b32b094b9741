// metrics: figures for a site's monitoring, without asking the daemon.
#include "switchctl/commands/CommandTexts.h"
#include "switchctl/commands/CommandTree.h"
#include "switchctl/commands/Commands.h"
#include "switchctl/metrics/Metrics.h"

namespace {

void metrics(Session& session) {
    const std::string text = metricsText(MetricFacts::gather(session));
    session.print(Json().set("metrics", text), text);
}

}  // namespace

void addMetricsCommand(CommandTree& tree) {
    tree.command(tree.root(), "metrics", command_text::kMetrics, metrics);
}
