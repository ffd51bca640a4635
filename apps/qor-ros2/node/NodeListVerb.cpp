// `qor-ros2 node list`: the nodes of the domain, as `ros2 node list` prints them.

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "node/NodeVerbs.h"

namespace qorCli {
namespace {

class NodeListVerb : public Verb {
  public:
    explicit NodeListVerb(CLI::App& app) {
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addFlag(app, "-a,--all", m_all, "Display all nodes even hidden ones");
        addFlag(app, "-c,--count-nodes", m_countOnly,
                "Only display the number of nodes discovered");
    }

    int run() override {
        return nodeListCommand(m_all, m_countOnly, domainFromEnvironment(), m_node.spinTime);
    }

  private:
    NodeFlags m_node;
    bool m_all = false;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeNodeListVerb(CLI::App& app) {
    return std::make_unique<NodeListVerb>(app);
}

}  // namespace qorCli
