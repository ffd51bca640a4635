#pragma once

// The subscriptions of the topics that `topic bw`, `delay` and `hz` measure, made on the one
// participant whose discovery found their types and their publishers' QoS.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/QosArguments.h"
#include "cli/RosClock.h"
#include "qorROS2/TopicDiscovery.h"
#include "topic/SampleTap.h"

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// The window a measuring verb was given with `-w/--window`, or `fallback` without one. Throws
/// ArgumentError, in argparse's words, for 0.
std::size_t measuringWindow(const CLI::App& verb, const std::optional<std::uint64_t>& given,
                            std::size_t fallback);

class TopicTaps {
  public:
    /// Subscribes to each of `topics` in `domain`, with the type named `typeName` or, when it is
    /// empty, the type each topic's endpoints announce (waiting, after ros2's warning, for a
    /// topic that nobody publishes yet), and with the QoS `qos` asks for or that adapts to the
    /// publishers found (within `spinTime` seconds, when given). Throws CommandFailure, in ros2's
    /// words, for a type it cannot use, and StopRequested on Ctrl-C.
    TopicTaps(const std::vector<std::string>& topics, const std::string& typeName,
              const QosFlags& qos, std::int8_t domain, const std::optional<double>& spinTime);

    std::size_t size() const { return m_taps.size(); }
    const std::string& topic(std::size_t index) const { return m_topics[index]; }
    /// A message of the type of topic `index` at its defaults, as a --filter sees it.
    PythonValue prototype(std::size_t index) const { return m_taps[index]->prototype(); }

    /// Takes the samples of every topic as they come until Ctrl-C, calling `sample` with the
    /// topic's index for each and `second` once a second of `clock`, as ros2's timers run on
    /// its node's clock. Returns early, false, when `sample` returns false; true once stopped.
    bool measure(const std::function<bool(std::size_t topic, const TappedSample&)>& sample,
                 const std::function<void()>& second, RosClock& clock);

  private:
    // Declared first, so it outlives the taps: its participant is theirs.
    qorROS2::TopicDiscovery m_discovery;
    std::vector<std::string> m_topics;
    std::vector<std::unique_ptr<SampleTap>> m_taps;
};

}  // namespace qorCli
