// `qor-ros2 action info NAME [-t] [-c]`: the servers and clients of one action by node, as
// `ros2 action info` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "action/ActionGraph.h"
#include "action/ActionVerbs.h"
#include "cli/CommandFailure.h"
#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "qorROS2/RosNames.h"

namespace qorCli {
namespace {

class ActionInfoVerb : public Verb {
  public:
    explicit ActionInfoVerb(CLI::App& app) {
        addPositional(app, "action_name", m_action, true,
                      "Name of the ROS action to get info (e.g. '/fibonacci')");
        addFlag(app, "-t,--show-types", m_showTypes, "Additionally show the action type");
        addFlag(app, "-c,--count", m_countOnly,
                "Only display the number of action clients and action servers");
    }

    int run() override {
        std::string resolved;
        try {
            resolved = qorROS2::resolveTopicName(m_action);
        } catch (const std::invalid_argument& error) {
            throw CommandFailure(error.what());
        }
        const qorROS2::TopicDiscovery discovery(domainFromEnvironment());
        // Settled on the whole graph's actions, so that a node that joins late is waited for.
        settledNames([&] { return actionNamesAndTypes(discovery.endpoints(), ActionSide::both); },
                     true, std::nullopt);
        const std::string text = actionInfoText(m_action, resolved, discovery.nodes(),
                                                discovery.endpoints(), m_showTypes, m_countOnly);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    std::string m_action;
    bool m_showTypes = false;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeActionInfoVerb(CLI::App& app) {
    return std::make_unique<ActionInfoVerb>(app);
}

}  // namespace qorCli
