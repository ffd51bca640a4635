#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace qorDemo {

/// What the status line shows.
struct Status {
    double simulatedTime;         ///< seconds
    std::uint64_t steps;          ///< since the start
    std::size_t subscriptions;    ///< matched over the sensor topics
    std::uint64_t commandsTaken;  ///< joint command messages applied
    const char* activeSensors;    ///< the sensors at work: "camera, lidar" ... "none"
    std::uint64_t incompatible;   ///< subscriptions refused for their QoS, shown when not 0
};

/// Shows the demo's progress: one line rewritten in place on a terminal, a line a second
/// otherwise, so that logs stay readable.
class StatusLine {
  public:
    explicit StatusLine(std::FILE* out);

    /// Prints when the last print is old enough, with the rates of the last interval. The first
    /// status given is where the run's averages start.
    void update(const Status& status);

    /// Prints the final state with the rates averaged over the whole run, and ends the line.
    void finish(const Status& status);

  private:
    void remember(const Status& status, std::chrono::steady_clock::time_point now);
    void print(const Status& status, const Status& since, double wallSeconds);

    std::FILE* m_out;
    bool m_inPlace;
    bool m_started = false;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_lastPrint;
    Status m_firstStatus{};
    Status m_lastStatus{};
};

}  // namespace qorDemo
