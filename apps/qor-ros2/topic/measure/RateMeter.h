#pragma once

// `topic hz`: the rate at which the messages of one or more topics arrive.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qorCli {

/// Collects the intervals between the arrivals of each topic's messages and reports the rates
/// as `ros2 topic hz` prints them.
class RateMeter {
  public:
    static constexpr std::size_t kDefaultWindow = 10000;

    /// Keeps the last `window` intervals of each topic (at least 1).
    explicit RateMeter(std::size_t window = kDefaultWindow);

    /// Counts a message of `topic` received at `receiveNanoseconds` (ROS time). The first
    /// message, and the first after the clock went back before it, only start the count; a
    /// clock at 0 means it was reset and drops the intervals, which the next report says first.
    void add(const std::string& topic, std::int64_t receiveNanoseconds);

    /// What ros2 prints now, newline included, or none. A topic is reported once its newest
    /// message came at least a second after the one its previous report covered (its first
    /// report waits one such second). One topic prints "average rate: 10.000\n\tmin: 0.100s max:
    /// 0.100s std dev: 0.00000s window: 10\n"; several print a table with a row for each topic
    /// due, and nothing when none is. When no new message came, nothing is printed. After a reset
    /// of the clock the text starts with "time has reset, resetting counters\n", which ros2
    /// prints as the message arrives: call this after each add to keep ros2's order.
    std::optional<std::string> report(const std::vector<std::string>& topics) const;

  private:
    struct Arrivals {
        std::deque<std::int64_t> intervals;
        std::int64_t first = -1;
        std::int64_t last = 0;
        // The arrival the last report covered; only a report moves it, as only printing moves
        // the tool's memory of what it printed.
        mutable std::int64_t reported = 0;
    };

    struct Rate {
        double rate;
        double minDelta;
        double maxDelta;
        double standardDeviation;
        std::size_t window;
    };

    std::optional<Rate> dueRate(const std::string& topic) const;
    std::optional<std::string> rateReport(const std::vector<std::string>& topics) const;

    std::size_t m_window;
    std::map<std::string, Arrivals> m_topics;
    // Resets not yet told; the next report tells them, as printing them is what ros2 does.
    mutable std::size_t m_untoldResets = 0;
};

}  // namespace qorCli
