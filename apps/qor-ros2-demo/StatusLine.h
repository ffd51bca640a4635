#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>

#include "qor/Notify.h"

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
/// otherwise, so that logs stay readable. Anything else written to the terminal while the line
/// is drawn goes through interrupt(), so that it never lands on the end of the line.
class StatusLine {
  public:
    /// Rewrites the line in place when `out` is a terminal.
    explicit StatusLine(std::FILE* out);
    /// Rewrites the line in place or not, as `inPlace` says.
    StatusLine(std::FILE* out, bool inPlace);
    /// Ends a line left drawn in place, so that whatever is written next starts a line.
    ~StatusLine();

    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Prints when the last print is old enough, with the rates of the last interval. The first
    /// status given is where the run's averages start.
    void update(const Status& status);

    /// Prints the final state with the rates averaged over the whole run, and ends the line.
    void finish(const Status& status);

    /// Takes a jump of the simulated time by `seconds` (a reset sends it back) as no time
    /// simulated, so that the real-time factor counts only the time stepped.
    void shiftTime(double seconds);

    /// Ends the line drawn in place, calls `write` to write whole lines of its own (to this
    /// line's stream or another that shows on the same terminal), then draws the line again
    /// below them. Safe to call from any thread.
    void interrupt(const std::function<void()>& write);

  private:
    void remember(const Status& status, std::chrono::steady_clock::time_point now);
    void print(const Status& status, const Status& since, double wallSeconds);

    std::FILE* m_out;
    bool m_inPlace;
    std::mutex m_mutex;    ///< serialises the line with interrupt()'s writers
    bool m_drawn = false;  ///< the line is on the terminal, not ended
    std::string m_text;    ///< the line as last printed, without "\r"
    bool m_started = false;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_lastPrint;
    Status m_firstStatus{};
    Status m_lastStatus{};
};

/// A sink for qor::Notify that writes each line to `err` (stderr in the demo) through
/// status.interrupt(), at most 20 lines a second as the default sink does: a warning never
/// lands on the end of the status line, which is drawn again below it.
qor::NotifySink sinkAround(StatusLine& status, std::FILE* err);

}  // namespace qorDemo
