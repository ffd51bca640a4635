#pragma once

// The subscriptions of the topics that `topic bw`, `delay` and `hz` measure, made on the one
// participant whose discovery found their types and their publishers' QoS.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QosArguments.h"
#include "SampleTap.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

class TopicTaps {
  public:
    /// Subscribes to each of `topics` in `domain`, with the type named `typeName` or, when it is
    /// empty, the type each topic's endpoints announce, and with the QoS `qos` asks for or that
    /// adapts to the publishers found. Throws UsageError for an unknown type or a topic whose
    /// type cannot be learnt; `verb` words the hint.
    TopicTaps(const std::vector<std::string>& topics, const std::string& typeName,
              const QosFlags& qos, std::int8_t domain, const std::string& verb);

    std::size_t size() const { return m_taps.size(); }
    const std::string& topic(std::size_t index) const { return m_topics[index]; }
    SampleTap& tap(std::size_t index) { return *m_taps[index]; }

  private:
    // Declared first, so it outlives the taps: its participant is theirs.
    qorROS2::TopicDiscovery m_discovery;
    std::vector<std::string> m_topics;
    std::vector<std::unique_ptr<SampleTap>> m_taps;
};

}  // namespace qorCli
