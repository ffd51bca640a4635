// `qor-ros2 topic hz`: prints the rate of a topic once a second, as `ros2 topic hz` does.

#include <CLI/CLI.hpp>

#include "ArgumentError.h"
#include "CommandOptions.h"
#include "DiscoveredType.h"
#include "QosArguments.h"
#include "ToolDomain.h"
#include "Verb.h"

namespace qorCli {
namespace {

class TopicHzVerb : public Verb {
  public:
    explicit TopicHzVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "topic_name", m_topic, true,
                      "Name of the ROS topic to listen to (e.g. '/chatter')");
        addPositional(app, "message_type", m_type, false,
                      "Type of the ROS message (e.g. 'std_msgs/msg/String'); without it, the "
                      "type the topic's endpoints announce");
        addNonNegativeInt(app, "-w,--window", m_window, "WINDOW",
                          "window size, in # of messages, for calculating rate (default: 10000)");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
    }

    int run() override {
        TopicOptions options;
        options.topic = m_topic;
        options.domain = domainFromEnvironment();
        if (m_window.has_value()) {
            if (*m_window == 0) {
                throw ArgumentError(m_app, "argument -w/--window: invalid positive_int value: '0'");
            }
            options.window = static_cast<std::size_t>(*m_window);
        }
        const MessageType* type = m_type.empty() ? nullptr : &findMessageType(m_type);
        {
            const qorROS2::TopicDiscovery discovery(options.domain);
            if (type == nullptr) {
                type = &discoveredType(discovery, m_topic, options.domain, "hz");
            }
            options.qos = subscriptionQos(discovery, m_topic, m_qos);
        }
        return type->hz(options);
    }

  private:
    const CLI::App& m_app;
    std::string m_topic;
    std::string m_type;
    std::optional<std::uint64_t> m_window;
    QosFlags m_qos;
};

}  // namespace

std::unique_ptr<Verb> makeTopicHzVerb(CLI::App& app) {
    return std::make_unique<TopicHzVerb>(app);
}

}  // namespace qorCli
