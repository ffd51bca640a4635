// `qor-ros2 topic info`: the endpoints of a topic, as `ros2 topic info` prints them.

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicInfo.h"

namespace qorCli {
namespace {

class TopicInfoVerb : public Verb {
  public:
    explicit TopicInfoVerb(CLI::App& app) {
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to get info (e.g. '/chatter')");
        addFlag(app, "-v,--verbose", m_verbose,
                "Prints detailed information like the node name, node namespace, topic type, "
                "GUID and QoS Profile of the publishers and subscribers to this topic");
    }

    int run() override {
        return topicInfoCommand(m_topic, m_verbose, domainFromEnvironment(), m_node.spinTime);
    }

  private:
    NodeFlags m_node;
    std::string m_topic;
    bool m_verbose = false;
};

}  // namespace

std::unique_ptr<Verb> makeTopicInfoVerb(CLI::App& app) {
    return std::make_unique<TopicInfoVerb>(app);
}

}  // namespace qorCli
