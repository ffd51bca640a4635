#pragma once

// The warnings about samples that a subscription took as bytes and could not decode, in the
// words and at the pace of the transport's typed subscriptions, which decode as they receive.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {

/// Counts the samples of one topic that did not decode and warns about them on stderr: at once
/// for the first, then at most once a second, each line with the number dropped since the
/// previous one and the latest reason:
/// `Warning: Subscriber on topic "/scan" dropped a malformed sample (1 so far): <reason>`.
class DroppedSamples {
  public:
    using Clock = std::chrono::steady_clock;

    /// Reports for the subscription of the ROS 2 topic `topic`, named as the user gave it.
    explicit DroppedSamples(std::string topic);

    /// Counts one sample dropped because decoding it failed with `error`, and warns if a line
    /// is due.
    void dropped(const qorROS2::typesupport::TypeSupportError& error,
                 Clock::time_point now = Clock::now());

    /// The samples dropped so far.
    std::uint64_t count() const noexcept { return m_count; }

  private:
    std::string m_topic;
    std::uint64_t m_count = 0;
    std::uint64_t m_unreported = 0;
    bool m_reportedBefore = false;
    Clock::time_point m_lastLine{};
};

/// `bytes` decoded as a sample of `type`; none, told to `dropped`, when they are no such sample.
std::optional<qorROS2::typesupport::Sample> decodeOrDrop(
    const qorROS2::typesupport::TypeSupport& type, const std::vector<std::uint8_t>& bytes,
    DroppedSamples& dropped);

}  // namespace qorCli
