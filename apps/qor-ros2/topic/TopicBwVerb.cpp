// `qor-ros2 topic bw`: prints the bandwidth a topic uses once a second, as `ros2 topic bw` does.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/RosClock.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicTaps.h"
#include "topic/measure/BandwidthMeter.h"

namespace qorCli {
namespace {

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

class TopicBwVerb : public Verb {
  public:
    explicit TopicBwVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "topic", m_topic, true,
                      "Topic name to monitor for bandwidth utilization");
        addNonNegativeInt(app, "-w,--window", m_window, "WINDOW",
                          "maximum window size, in # of messages, for calculating rate "
                          "(default: 100)");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
        addDirectNodeOptions(
            app, m_node,
            adaptingNodeUse(
                "here: the bandwidth is timed by the rosgraph_msgs/msg/Clock messages on /clock"));
    }

    int run() override {
        const std::size_t window = measuringWindow(m_app, m_window, BandwidthMeter::kDefaultWindow);
        const std::int8_t domain = domainFromEnvironment();
        RosClock clock(m_node.useSimTime, domain);
        // ROS time in seconds, as ros2 times the samples with its node's clock.
        const auto seconds = [&clock] { return static_cast<double>(clock.now()) * 1e-9; };
        TopicTaps taps({m_topic}, "", m_qos, domain, m_node.spinTime);
        print(subscribedLine(m_topic));
        BandwidthMeter meter(window);
        taps.measure(
            [&](std::size_t, const TappedSample& sample) {
                meter.add(sample.serializedBytes, seconds());
                return true;
            },
            [&] {
                if (const auto text = meter.report(seconds())) {
                    print(*text);
                }
            },
            clock);
        return 0;
    }

  private:
    const CLI::App& m_app;
    std::string m_topic;
    std::optional<std::uint64_t> m_window;
    QosFlags m_qos;
    NodeFlags m_node;
};

}  // namespace

std::unique_ptr<Verb> makeTopicBwVerb(CLI::App& app) {
    return std::make_unique<TopicBwVerb>(app);
}

}  // namespace qorCli
