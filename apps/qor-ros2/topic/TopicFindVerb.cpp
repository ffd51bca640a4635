// `qor-ros2 topic find TYPE`: the topics that carry a type, as `ros2 topic find` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicListing.h"

namespace qorCli {
namespace {

class TopicFindVerb : public Verb {
  public:
    explicit TopicFindVerb(CLI::App& app) : m_app(app) {
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addPositional(app, "topic_type", m_type, true,
                      "Name of the ROS topic type to filter for (e.g. 'std_msg/msg/String')");
        addFlag(app, "-c,--count-topics", m_countOnly,
                "Only display the number of topics discovered");
        app.add_flag("--include-hidden-topics", "Consider hidden topics as well");
    }

    int run() override {
        // The whole type name must match, as ros2 compares it.
        const std::string text = namesOfTypeText(
            settledTopics(domainFromEnvironment(), includeHiddenTopics(m_app), m_node.spinTime),
            m_type, m_countOnly);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    const CLI::App& m_app;
    NodeFlags m_node;
    std::string m_type;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeTopicFindVerb(CLI::App& app) {
    return std::make_unique<TopicFindVerb>(app);
}

}  // namespace qorCli
