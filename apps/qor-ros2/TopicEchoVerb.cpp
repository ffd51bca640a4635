// `qor-ros2 topic echo`: prints the messages of a topic as `ros2 topic echo` does.

#include <CLI/CLI.hpp>

#include "CommandOptions.h"
#include "DiscoveredType.h"
#include "ImagePng.h"
#include "QosArguments.h"
#include "ToolDomain.h"
#include "UsageError.h"
#include "Verb.h"

namespace qorCli {
namespace {

class TopicEchoVerb : public Verb {
  public:
    explicit TopicEchoVerb(CLI::App& app) {
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to listen to (e.g. '/chatter')");
        addPositional(app, "message_type", m_type, false,
                      "Type of the ROS message (e.g. 'std_msgs/msg/String'); without it, the "
                      "type the topic's endpoints announce");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
        addFlag(app, "--once", m_once, "Print the first message received and then exit");
        addText(app, "--save", m_savePath, "FILE.png",
                "Write each sensor_msgs/msg/Image received to this PNG file instead of printing "
                "it (encodings " +
                    std::string(savableImageEncodings()) + ")");
    }

    int run() override {
        TopicOptions options;
        options.topic = m_topic;
        options.domain = domainFromEnvironment();
        options.once = m_once;
        const MessageType* type = m_type.empty() ? nullptr : &findMessageType(m_type);
        {
            const qorROS2::TopicDiscovery discovery(options.domain);
            if (type == nullptr) {
                type = &discoveredType(discovery, m_topic, options.domain, "echo");
            }
            if (!m_savePath.empty() && type->name != "sensor_msgs/msg/Image") {
                throw UsageError("option --save works for sensor_msgs/msg/Image only, not " +
                                 type->name);
            }
            options.qos = subscriptionQos(discovery, m_topic, m_qos);
        }
        options.savePath = m_savePath;
        return type->echo(options);
    }

  private:
    std::string m_topic;
    std::string m_type;
    QosFlags m_qos;
    bool m_once = false;
    std::string m_savePath;
};

}  // namespace

std::unique_ptr<Verb> makeTopicEchoVerb(CLI::App& app) {
    return std::make_unique<TopicEchoVerb>(app);
}

}  // namespace qorCli
