// `qor-ros2 topic echo`: prints the messages of a topic as `ros2 topic echo` does.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

#include "cli/CommandFailure.h"
#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/QosArguments.h"
#include "cli/ToolDomain.h"
#include "cli/UsageError.h"
#include "cli/Verb.h"
#include "topic/DiscoveredType.h"
#include "topic/ImagePng.h"
#include "topic/MessageFilter.h"
#include "topic/TopicEcho.h"

namespace qorCli {
namespace {

// As ros2 cuts arrays, bytes and strings unless told otherwise.
constexpr std::uint64_t kDefaultTruncateLength = 128;

class TopicEchoVerb : public Verb {
  public:
    explicit TopicEchoVerb(CLI::App& app) : m_app(app) {
        addStrategyNodeOptions(
            app, m_node,
            adaptingNodeUse("here: --timeout counts the seconds of the rosgraph_msgs/msg/Clock "
                            "messages on /clock"));
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to listen to (e.g. '/chatter')");
        addPositional(app, "message_type", m_type, false,
                      "Type of the ROS message (e.g. 'std_msgs/msg/String'); without it, the "
                      "type the topic's endpoints announce");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
        addFlag(app, "--csv", m_format.csv,
                "Output all recursive fields separated by commas (e.g. for plotting)");
        addText(app, "--field", m_format.field, "FIELD",
                "Echo a selected field of a message. Use '.' to select sub-fields. For example, "
                "to echo the position field of a nav_msgs/msg/Odometry message: 'ros2 topic "
                "echo /odom --field pose.pose.position'");
        addFlag(app, "-f,--full-length", m_fullLength,
                "Output all elements for arrays, bytes, and string with a length > "
                "'--truncate-length', by default they are truncated after '--truncate-length' "
                "elements with '...''");
        addNonNegativeInt(app, "-l,--truncate-length", m_truncateLength, "TRUNCATE_LENGTH",
                          "The length to truncate arrays, bytes, and string to (default: 128)");
        addFlag(app, "--no-arr", m_format.noArrays, "Don't print array fields of messages");
        addFlag(app, "--no-str", m_format.noStrings, "Don't print string fields of messages");
        addFlag(app, "--flow-style", m_format.flowStyle,
                "Print collections in the block style (not available with csv format)");
        addFlag(app, "--lost-messages", m_lostMessages, "DEPRECATED: Does nothing");
        addFlag(app, "--no-lost-messages", m_noLostMessages,
                "Don't report when a message is lost (qor-ros2 does not report lost messages, "
                "so this changes nothing)");
        addFlag(app, "--raw", m_raw, "Echo the raw binary representation");
        addText(app, "--filter", m_filter, "FILTER_EXPR",
                "Python expression to filter messages that are printed. Expression can use "
                "Python builtins as well as m (the message). qor-ros2 evaluates " +
                    std::string(kFilterSubset));
        addFlag(app, "--once", m_once, "Print the first message received and then exit.");
        addPositiveFloat(app, "--timeout", m_timeout, "N", "Set a timeout in seconds for waiting");
        addText(app, "--save", m_savePath, "FILE.png",
                "Write each sensor_msgs/msg/Image received to this PNG file instead of printing "
                "it (encodings " +
                    std::string(savableImageEncodings()) + ")");
    }

    int run() override {
        if (m_lostMessages) {
            std::fprintf(stderr,
                         "WARNING: '--lost-messages' is deprecated; lost messages are reported by "
                         "default\n");
        }
        if (m_raw && !m_savePath.empty()) {
            throw UsageError("option --save takes decoded images; it cannot be used with --raw");
        }
        // Refused before anything is subscribed, as ros2 compiles the expression first.
        const std::unique_ptr<MessageFilter> filter =
            m_filter.empty() ? nullptr : std::make_unique<MessageFilter>("--filter", m_filter);
        TopicOptions options;
        options.topic = m_topic;
        options.domain = domainFromEnvironment();
        options.once = m_once;
        options.echoFormat = m_format;
        if (!m_fullLength) {
            options.echoFormat.truncateLength =
                static_cast<std::size_t>(m_truncateLength.value_or(kDefaultTruncateLength));
        }
        // As ros2 checks the field's form before it looks for the topic.
        echoFieldPath(m_format.field);
        // The discovery lives while the messages are echoed: its participant is the
        // subscription's, which knows the publishers already.
        const qorROS2::TopicDiscovery discovery(options.domain);
        const qorROS2::typesupport::TypeSupport* type =
            m_type.empty() ? announcedType(discovery, m_topic) : &passedMessageType(m_type);
        if (type == nullptr) {
            throw CommandFailure("Could not determine the type for the passed topic");
        }
        if (!m_savePath.empty() && type->rosName() != "sensor_msgs/msg/Image") {
            throw UsageError("option --save works for sensor_msgs/msg/Image only, not " +
                             type->rosName());
        }
        options.qos = subscriptionQos(discovery, m_topic, m_qos, m_node.spinTime);
        options.savePath = m_savePath;
        options.raw = m_raw;
        options.filter = filter.get();
        if (given(m_app, "--timeout")) {
            options.timeout = m_timeout;
        }
        options.useSimTime = m_node.useSimTime;
        return echoTopic(*type, options);
    }

  private:
    const CLI::App& m_app;
    NodeFlags m_node;
    std::string m_topic;
    std::string m_type;
    QosFlags m_qos;
    bool m_once = false;
    std::string m_savePath;
    EchoFormat m_format;
    bool m_fullLength = false;
    std::optional<std::uint64_t> m_truncateLength;
    bool m_lostMessages = false;
    bool m_noLostMessages = false;
    bool m_raw = false;
    std::string m_filter;
    double m_timeout = 0.0;
};

}  // namespace

std::unique_ptr<Verb> makeTopicEchoVerb(CLI::App& app) {
    return std::make_unique<TopicEchoVerb>(app);
}

}  // namespace qorCli
