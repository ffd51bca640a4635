// `qor-ros2 topic delay`: prints once a second how long a topic's messages took from the stamp of
// their header to their arrival, as `ros2 topic delay` does.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "topic/MeasuringVerb.h"
#include "topic/measure/DelayMeter.h"

namespace qorCli {
namespace {

class TopicDelayVerb : public SingleTopicMeasuringVerb {
  public:
    explicit TopicDelayVerb(CLI::App& app)
        : SingleTopicMeasuringVerb(
              app, "Topic name to calculate the delay for",
              "window size, in # of messages, for calculating rate, string to (default: 10000)",
              "here: a message's delay is the time of the last rosgraph_msgs/msg/Clock on /clock "
              "less its stamp, and reports follow that clock's seconds") {}

    int run() override {
        std::optional<DelayMeter> meter;
        const bool stamped =
            measureTopic(DelayMeter::kDefaultWindow, [&](std::size_t window, RosClock& clock) {
                meter.emplace(window);
                return MeasuringSteps{[&meter, &clock](const TappedSample& sample) {
                                          if (!sample.decodes()) {
                                              return true;  // dropped with a warning
                                          }
                                          const auto stamp = sample.headerStampNanoseconds();
                                          if (!stamp.has_value()) {
                                              return false;
                                          }
                                          if (const auto notice = meter->add(*stamp, clock.now())) {
                                              printNow(*notice);
                                          }
                                          return true;
                                      },
                                      [&meter] {
                                          if (const auto text = meter->report()) {
                                              printNow(*text);
                                          }
                                      }};
            });
        if (!stamped) {
            // As ros2 does, at the first message of a type without a header.
            std::fprintf(stderr, "%s\n", kNoHeaderMessage);
            return 1;
        }
        return 0;
    }
};

}  // namespace

std::unique_ptr<Verb> makeTopicDelayVerb(CLI::App& app) {
    return std::make_unique<TopicDelayVerb>(app);
}

}  // namespace qorCli
