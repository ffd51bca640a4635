// `qor-ros2 topic pub`: publishes a message built from YAML values, as `ros2 topic pub` does.

#include <CLI/CLI.hpp>

#include "cli/ArgumentError.h"
#include "cli/CommandFailure.h"
#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/QosArguments.h"
#include "cli/ToolDomain.h"
#include "cli/UsageError.h"
#include "cli/Verb.h"
#include "qorROS2/NodeIdentity.h"
#include "topic/DiscoveredType.h"
#include "topic/TopicPub.h"

namespace qorCli {
namespace {

class TopicPubVerb : public Verb {
  public:
    explicit TopicPubVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to publish to (e.g. '/chatter')");
        addPositional(app, "message_type", m_type, true,
                      "Type of the ROS message (e.g. 'std_msgs/String')");
        addPositional(app, "values", m_values, false,
                      "Values to fill the message with in YAML format (e.g. 'data: Hello "
                      "World'), otherwise the message will be published with default values");
        addPositiveFloat(app, "-r,--rate", m_rate, "N", "Publishing rate in Hz (default: 1)");
        addInt(app, "-p,--print", m_print, "N",
               "Only print every N-th published message (default: 1)");
        addFlag(app, "-1,--once", m_once, "Publish one message and exit");
        addNonNegativeInt(app, "-t,--times", m_times, "TIMES",
                          "Publish this number of times and then exit");
        addNonNegativeInt(app, "-w,--wait-matching-subscriptions", m_waitMatching,
                          "WAIT_MATCHING_SUBSCRIPTIONS",
                          "Wait until finding the specified number of matching subscriptions. "
                          "Defaults to 1 when using \"-1\"/\"--once\"/\"--times\", otherwise "
                          "defaults to 0.");
        addPositiveFloat(app, "--max-wait-time-secs", m_maxWaitSeconds, "MAX_WAIT_TIME_SECS",
                         "This sets the maximum wait time in seconds if "
                         "--wait-until-matching-subscriptions is set. By default, this flag is not "
                         "set meaning the subscriber will wait endlessly.");
        addPositiveFloat(app, "--keep-alive", m_keepAlive, "N",
                         "Keep publishing node alive for N seconds after the last msg (default: "
                         "0.1)");
        addText(app, "-n,--node-name", m_nodeName, "NODE_NAME",
                "Name of the created publishing node");
        addQosOptions(app, m_qos, "publish", "system_default");
        addDirectNodeOptions(
            app, m_node,
            {"qor-ros2 has no daemon: with -s, this is the longest wait for the first "
             "rosgraph_msgs/msg/Clock on /clock before publishing (default 0.5 s)",
             "here: the stamps given as 'now' or 'auto' take the time of the "
             "rosgraph_msgs/msg/Clock messages on /clock, 0 until the first comes"});
    }

    int run() override {
        if (m_once && m_times.has_value()) {
            throw ArgumentError(m_app, "argument -t/--times: not allowed with argument -1/--once");
        }
        const qorROS2::typesupport::TypeSupport& type = passedMessageType(m_type);
        if (given(m_app, "--node-name")) {
            // The publishing node is this process's node, as ros2's is the verb's own.
            qorROS2::setNodeIdentity(m_nodeName, qorROS2::nodeIdentity().nameSpace);
        }
        TopicOptions options;
        options.topic = m_topic;
        options.values = m_app.count("values") > 0 ? m_values : "{}";
        if (!valuesAreMapping(options.values)) {
            throw CommandFailure("The passed value needs to be a dictionary in YAML format");
        }
        options.rate = m_rate;
        options.times = m_once ? 1 : m_times.value_or(0);
        const std::int64_t print = m_print.value_or(1);
        options.printEvery =
            print < 0 ? 0 - static_cast<std::uint64_t>(print) : static_cast<std::uint64_t>(print);
        options.waitMatching = m_waitMatching.value_or(options.times != 0 ? 1 : 0);
        options.keepAlive = m_keepAlive;
        if (given(m_app, "--max-wait-time-secs")) {
            options.maxWaitSeconds = m_maxWaitSeconds;
        }
        options.useSimTime = m_node.useSimTime;
        options.spinTime = m_node.spinTime;
        options.qos = qosFromFlags(m_qos.profile.empty() ? "system_default" : m_qos.profile, m_qos,
                                   QosRole::PUBLISHER);
        options.domain = domainFromEnvironment();
        try {
            return publishTopic(type, options);
        } catch (const UsageError& error) {
            // The values load; what remains is a field that they cannot fill, in ros2's words.
            throw CommandFailure(std::string("Failed to populate field: ") + error.what());
        }
    }

  private:
    const CLI::App& m_app;
    std::string m_topic;
    std::string m_type;
    std::string m_values;
    double m_rate = 1.0;
    std::optional<std::int64_t> m_print;
    bool m_once = false;
    std::optional<std::uint64_t> m_times;
    std::optional<std::uint64_t> m_waitMatching;
    double m_maxWaitSeconds = 0.0;
    double m_keepAlive = 0.1;
    std::string m_nodeName;
    QosFlags m_qos;
    NodeFlags m_node;
};

}  // namespace

std::unique_ptr<Verb> makeTopicPubVerb(CLI::App& app) {
    return std::make_unique<TopicPubVerb>(app);
}

}  // namespace qorCli
