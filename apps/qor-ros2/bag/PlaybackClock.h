#pragma once

// The bag's time during playback, as rosbag2's time controller keeps it: a reference pair (a bag
// time and the steady time it was reached), a rate and a pause. Each message is due at the steady
// time its log time maps to through the reference, so waiting for one message never delays the
// next: no drift accumulates. Changing the rate or pausing moves the reference to now, so the
// bag's time stays continuous.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace qorCli {

class PlaybackClock {
  public:
    using SteadyTime = std::chrono::steady_clock::time_point;
    using SteadyNow = std::function<SteadyTime()>;

    /// Starts at bag time `start` (nanoseconds) now, playing at `rate` (> 0).
    PlaybackClock(std::int64_t start, double rate, bool paused = false,
                  SteadyNow steadyNow = &std::chrono::steady_clock::now);

    /// The bag time now.
    std::int64_t now() const;
    /// The steady time at which the bag time `bagTime` is reached at the current rate: the
    /// schedule of the message recorded at `bagTime`. While paused, the reference's steady time
    /// as if play resumed now.
    SteadyTime steadyTimeOf(std::int64_t bagTime) const;

    /// Waits until the bag time reaches `bagTime` and returns true, or returns false early (at
    /// most `slice` later) when paused, when the rate or the pause changed, or when wake() was
    /// called, so that the caller can look at what else happened.
    bool sleepUntil(std::int64_t bagTime,
                    std::chrono::nanoseconds slice = std::chrono::milliseconds(100));
    /// Sets the bag time to `bagTime` from now on.
    void jump(std::int64_t bagTime);
    /// Plays at `rate` from now on; false (and no change) when it is not above 0.
    bool setRate(double rate);
    double rate() const;
    void pause();
    void resume();
    bool paused() const;
    /// Makes a waiting sleepUntil() return.
    void wake();

  private:
    std::int64_t nowLocked(SteadyTime steady) const;

    SteadyNow m_steadyNow;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::int64_t m_referenceBag;
    SteadyTime m_referenceSteady;
    double m_rate;
    bool m_paused;
    std::uint64_t m_generation = 0;  // counts changes, so a sleeper sees one it slept through
};

}  // namespace qorCli
