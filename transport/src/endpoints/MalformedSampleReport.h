#pragma once

// Counts the malformed samples a subscriber drops and tells about them, without flooding the log.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace qorROS2::transport::endpoints {

/// Counts dropped samples and warns about them: at once for the first, then at most once a
/// second, each line with the number dropped since the previous one and the latest reason.
class MalformedSampleReport {
  public:
    using Clock = std::chrono::steady_clock;

    /// Reports for the subscriber of the ROS 2 topic `topic`.
    explicit MalformedSampleReport(std::string topic);

    /// Reports for `subject` ("Service \"/reset\""), which drops `noun`s ("request").
    MalformedSampleReport(std::string subject, std::string noun);

    /// Counts one dropped sample, refused for `reason`, and warns if a line is due. Called from
    /// inside the middleware, so it never throws: a warning that cannot be composed is lost, the
    /// count never is.
    void dropped(const char* reason, Clock::time_point now = Clock::now()) noexcept;

    /// The samples dropped so far.
    std::uint64_t count() const noexcept { return m_count.load(std::memory_order_relaxed); }

  private:
    std::string m_subject;
    std::string m_noun;
    std::atomic<std::uint64_t> m_count{0};
    std::mutex m_mutex;
    std::uint64_t m_unreported = 0;
    bool m_reportedBefore = false;
    Clock::time_point m_lastLine{};
};

}  // namespace qorROS2::transport::endpoints
