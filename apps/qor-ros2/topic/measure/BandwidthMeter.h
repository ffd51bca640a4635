#pragma once

// `topic bw`: the bandwidth a topic uses over a window of the last samples received.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

namespace qorCli {

/// Collects the sizes and receive times of a topic's samples and reports the bandwidth as
/// `ros2 topic bw` prints it once a second.
class BandwidthMeter {
  public:
    static constexpr std::size_t kDefaultWindow = 100;

    /// Keeps the last `window` samples (at least 1).
    explicit BandwidthMeter(std::size_t window = kDefaultWindow);

    /// Counts a sample of `bytes` serialized bytes received at `seconds` (a monotonic clock).
    /// A sample earlier than the previous one means the clock went back: the window restarts.
    void add(std::size_t bytes, double seconds);

    /// The lines ros2 prints at `nowSeconds`, newline included: "1.23 KB/s from 10 messages\n
    /// \tMessage size mean: 0.12 KB min: 0.12 KB max: 0.12 KB\n", in B, KB or MB as the rate
    /// is below 1000 B/s, below 1000 KB/s or more. None before two samples, or when `nowSeconds`
    /// is not after the window's first sample.
    std::optional<std::string> report(double nowSeconds) const;

  private:
    std::size_t m_window;
    std::deque<std::size_t> m_sizes;
    std::deque<double> m_times;
};

/// "Subscribed to [/chatter]": the line `ros2 topic bw` prints once it listens.
std::string subscribedLine(const std::string& topic);

}  // namespace qorCli
