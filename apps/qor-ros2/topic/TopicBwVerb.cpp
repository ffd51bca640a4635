// `qor-ros2 topic bw`: prints the bandwidth a topic uses once a second, as `ros2 topic bw` does.

#include <CLI/CLI.hpp>

#include "topic/MeasuringVerb.h"
#include "topic/measure/BandwidthMeter.h"

namespace qorCli {
namespace {

class TopicBwVerb : public SingleTopicMeasuringVerb {
  public:
    explicit TopicBwVerb(CLI::App& app)
        : SingleTopicMeasuringVerb(
              app, "Topic name to monitor for bandwidth utilization",
              "maximum window size, in # of messages, for calculating rate (default: 100)",
              "here: the bandwidth is timed by the rosgraph_msgs/msg/Clock messages on /clock") {}

    int run() override {
        std::optional<BandwidthMeter> meter;
        measureTopic(BandwidthMeter::kDefaultWindow, [&](std::size_t window, RosClock& clock) {
            printNow(subscribedLine(topic()));
            meter.emplace(window);
            // ROS time in seconds, as ros2 times the samples with its node's clock.
            const auto seconds = [&clock] { return static_cast<double>(clock.now()) * 1e-9; };
            return MeasuringSteps{[&meter, seconds](const TappedSample& sample) {
                                      // Counted as it came: ros2 takes these samples raw.
                                      meter->add(sample.serializedBytes(), seconds());
                                      return true;
                                  },
                                  [&meter, seconds] {
                                      if (const auto text = meter->report(seconds())) {
                                          printNow(*text);
                                      }
                                  }};
        });
        return 0;
    }
};

}  // namespace

std::unique_ptr<Verb> makeTopicBwVerb(CLI::App& app) {
    return std::make_unique<TopicBwVerb>(app);
}

}  // namespace qorCli
