// `qor-ros2 action list [-t] [-c]`: the actions of the graph, as `ros2 action list` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>

#include "action/ActionGraph.h"
#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"

namespace qorCli {
namespace {

class ActionListVerb : public Verb {
  public:
    explicit ActionListVerb(CLI::App& app) {
        addFlag(app, "-t,--show-types", m_showTypes, "Additionally show the action type");
        addFlag(app, "-c,--count-actions", m_countOnly,
                "Only display the number of actions discovered");
    }

    int run() override {
        const qorROS2::TopicDiscovery discovery(domainFromEnvironment());
        // rcl_action lists every feedback topic, hidden or not, and so every action.
        const NamesAndTypes actions = settledNames(
            [&] { return actionNamesAndTypes(discovery.endpoints(), ActionSide::both); }, true,
            std::nullopt);
        const std::string text =
            m_countOnly ? std::to_string(actions.size()) + "\n" : namesText(actions, m_showTypes);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    bool m_showTypes = false;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeActionListVerb(CLI::App& app) {
    return std::make_unique<ActionListVerb>(app);
}

}  // namespace qorCli
