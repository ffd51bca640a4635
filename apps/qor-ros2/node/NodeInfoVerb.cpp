// `qor-ros2 node info`: what a node publishes and subscribes, as `ros2 node info` prints it.

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "node/NodeVerbs.h"

namespace qorCli {
namespace {

class NodeInfoVerb : public Verb {
  public:
    explicit NodeInfoVerb(CLI::App& app) {
        addStrategyNodeOptions(app, m_nodeFlags, listingNodeUse());
        addPositional(app, "node_name", m_node, true, "Node name to request information");
        addFlag(app, "--include-hidden", m_includeHidden,
                "Display hidden topics, services, and actions as well");
    }

    int run() override {
        return nodeInfoCommand(m_node, m_includeHidden, domainFromEnvironment(),
                               m_nodeFlags.spinTime);
    }

  private:
    NodeFlags m_nodeFlags;
    std::string m_node;
    bool m_includeHidden = false;
};

}  // namespace

std::unique_ptr<Verb> makeNodeInfoVerb(CLI::App& app) {
    return std::make_unique<NodeInfoVerb>(app);
}

}  // namespace qorCli
