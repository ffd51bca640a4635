#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace qor::detail {

// The most lines the default sink writes to stderr in one second, and Notify::rateLimited passes
// on. Other installed sinks get every line.
inline constexpr std::size_t kStderrLinesPerSecond = 20;

// Decides which lines the default sink writes to stderr: at most a fixed number in each window of
// one second, the rest counted and reported by one summary line when the next window opens (or
// when the process exits), so that a flood of warnings cannot bury a terminal or fill a log.
// Not thread-safe: the logger calls it under its lock.
class StderrRateLimit {
  public:
    using Clock = std::chrono::steady_clock;

    // What to do with one offered line.
    struct Decision {
        std::size_t heldBackBefore;  // when not 0, write heldBackSummary of it first
        bool write;                  // whether the line itself is written
    };

    explicit StderrRateLimit(std::size_t linesPerSecond) noexcept
        : m_linesPerSecond(linesPerSecond) {}

    // Decides for a line offered at now. Times must not go backwards.
    Decision offer(Clock::time_point now) noexcept;

    // Returns the number of lines held back and not yet summarised, and forgets it.
    std::size_t takeHeldBack() noexcept;

    // Returns the summary line for count held-back lines.
    std::string heldBackSummary(std::size_t count) const;

  private:
    std::size_t m_linesPerSecond;
    Clock::time_point m_windowStart{};
    bool m_started = false;
    std::size_t m_written = 0;
    std::size_t m_heldBack = 0;
};

}  // namespace qor::detail
