#pragma once

// What `topic bw` and `topic delay` share: one topic, a window of messages, the QoS and node
// options, and the loop that feeds each sample to a meter and prints its report once a second.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "cli/NodeOptions.h"
#include "cli/QosArguments.h"
#include "cli/RosClock.h"
#include "cli/Verb.h"
#include "topic/SampleTap.h"

namespace qorCli {

/// Writes `text` to stdout at once.
void printNow(const std::string& text);

/// What a meter does with the samples of the measured topic.
struct MeasuringSteps {
    /// Counts one sample; false ends the measuring.
    std::function<bool(const TappedSample&)> sample;
    /// Prints the report due each second of the clock.
    std::function<void()> second;
};

class SingleTopicMeasuringVerb : public Verb {
  protected:
    /// Declares the topic, -w/--window, the QoS and the node options on `app`, with the verb's
    /// words for the topic and the window, and how the verb uses a simulation's clock.
    SingleTopicMeasuringVerb(CLI::App& app, const std::string& topicHelp,
                             const std::string& windowHelp, const std::string& simTimeUse);

    /// Subscribes to the topic and measures until Ctrl-C with the steps `start` gives for the
    /// window (`defaultWindow` without -w) and the clock, once subscribed. Returns false when a
    /// step ended the measuring, true once stopped.
    bool measureTopic(
        std::size_t defaultWindow,
        const std::function<MeasuringSteps(std::size_t window, RosClock& clock)>& start);

    const std::string& topic() const { return m_topic; }

  private:
    const CLI::App& m_app;
    std::string m_topic;
    std::optional<std::uint64_t> m_window;
    QosFlags m_qos;
    NodeFlags m_node;
};

}  // namespace qorCli
