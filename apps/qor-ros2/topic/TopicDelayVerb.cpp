// `qor-ros2 topic delay`: prints once a second how long a topic's messages took from the stamp of
// their header to their arrival, as `ros2 topic delay` does.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/RosClock.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicTaps.h"
#include "topic/measure/DelayMeter.h"

namespace qorCli {
namespace {

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

class TopicDelayVerb : public Verb {
  public:
    explicit TopicDelayVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "topic", m_topic, true, "Topic name to calculate the delay for");
        addNonNegativeInt(app, "-w,--window", m_window, "WINDOW",
                          "window size, in # of messages, for calculating rate, string to "
                          "(default: 10000)");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
        addDirectNodeOptions(
            app, m_node,
            adaptingNodeUse(
                "here: a message's delay is the time of the last rosgraph_msgs/msg/Clock on /clock "
                "less its stamp, and reports follow that clock's seconds"));
    }

    int run() override {
        const std::size_t window = measuringWindow(m_app, m_window, DelayMeter::kDefaultWindow);
        const std::int8_t domain = domainFromEnvironment();
        RosClock clock(m_node.useSimTime, domain);
        TopicTaps taps({m_topic}, "", m_qos, domain, m_node.spinTime);
        DelayMeter meter(window);
        const bool stamped = taps.measure(
            [&](std::size_t, const TappedSample& sample) {
                if (!sample.headerStampNanoseconds.has_value()) {
                    return false;
                }
                if (const auto notice = meter.add(*sample.headerStampNanoseconds, clock.now())) {
                    print(*notice);
                }
                return true;
            },
            [&] {
                if (const auto text = meter.report()) {
                    print(*text);
                }
            },
            clock);
        if (!stamped) {
            // As ros2 does, at the first message of a type without a header.
            std::fprintf(stderr, "%s\n", kNoHeaderMessage);
            return 1;
        }
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

std::unique_ptr<Verb> makeTopicDelayVerb(CLI::App& app) {
    return std::make_unique<TopicDelayVerb>(app);
}

}  // namespace qorCli
