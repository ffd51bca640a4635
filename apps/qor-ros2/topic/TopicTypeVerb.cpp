// `qor-ros2 topic type TOPIC`: the types a topic carries, as `ros2 topic type` prints them;
// exit code 1 when no such topic is seen.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicListing.h"

namespace qorCli {
namespace {

class TopicTypeVerb : public Verb {
  public:
    explicit TopicTypeVerb(CLI::App& app) : m_app(app) {
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to get type (e.g. '/chatter')");
        app.add_flag("--include-hidden-topics", "Consider hidden topics as well");
    }

    int run() override {
        return printTypesOf(
            settledTopics(domainFromEnvironment(), includeHiddenTopics(m_app), m_node.spinTime),
            m_topic);
    }

  private:
    const CLI::App& m_app;
    NodeFlags m_node;
    std::string m_topic;
};

}  // namespace

std::unique_ptr<Verb> makeTopicTypeVerb(CLI::App& app) {
    return std::make_unique<TopicTypeVerb>(app);
}

}  // namespace qorCli
